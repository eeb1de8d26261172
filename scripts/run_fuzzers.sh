#!/usr/bin/env bash
# Builds the libFuzzer targets of the STL and OBJ readers with clang into
# build-fuzz, writes their seed corpus (the files the tests use, plus writer
# output) and runs each target for a bounded time (VEKMESH_FUZZ_SECONDS, 60 by
# default). Fails when a target finds a crash, a leak, undefined behaviour or
# an oversized allocation; the reproducer is left in build-fuzz/findings.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${VEKMESH_FUZZ_SECONDS:-60}"
build=build-fuzz

for tool in clang clang++; do
  if ! command -v "$tool" >/dev/null; then
    echo "run_fuzzers.sh: $tool is missing; run: bash scripts/setup_debian.sh --fuzz" >&2
    exit 1
  fi
done

CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DVEKMESH_BUILD_FUZZERS=ON -DVEKMESH_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" --target stl_fuzz obj_fuzz make_fuzz_seeds

seeds="$build/seeds"
rm -rf "$seeds"
mkdir -p "$seeds/stl" "$seeds/obj" "$build/findings"
"$build/tests/fuzz/make_fuzz_seeds" "$seeds/stl" "$seeds/obj"

# The targets hand every input to the readers as a file: keep it in memory.
if [ -d /dev/shm ] && [ -w /dev/shm ]; then export TMPDIR=/dev/shm; fi

status=0
for format in stl obj; do
  # The working corpus grows across runs on one machine; the seeds are
  # merged in every time.
  corpus="$build/corpus/$format"
  mkdir -p "$corpus"
  echo "=== ${format}_fuzz for ${seconds}s"
  # Inputs up to 64 KB; no single allocation may exceed 64 MB, which such an
  # input never justifies; 10 s per input counts as a hang.
  if ! "$build/tests/fuzz/${format}_fuzz" -max_total_time="$seconds" -max_len=65536 \
      -malloc_limit_mb=64 -rss_limit_mb=2048 -timeout=10 -print_final_stats=1 \
      -dict="tests/fuzz/$format.dict" -artifact_prefix="$build/findings/${format}-" \
      "$corpus" "$seeds/$format"; then
    echo "run_fuzzers.sh: ${format}_fuzz found a problem (see $build/findings)" >&2
    status=1
  fi
done
exit "$status"
