#!/usr/bin/env bash
# Configures a Release build with the benchmarks in build-bench/, builds it, checks
# the benchmark tools and runs every benchmark binary. Safe to run again; installs
# nothing. Extra arguments go to each benchmark (e.g. --benchmark_filter=Weld/sphere).
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${VEKMESH_BENCH_BUILD_DIR:-$root/build-bench}"

missing=()
command -v cmake >/dev/null || missing+=(cmake)
command -v c++ >/dev/null || missing+=(g++)
[[ -f /usr/include/benchmark/benchmark.h ]] || missing+=(libbenchmark-dev)
if ((${#missing[@]})); then
  echo "run_benchmarks.sh: missing Debian packages: ${missing[*]}" >&2
  echo "  apt-get install ${missing[*]}" >&2
  exit 1
fi
if [[ ! -f /usr/include/meshoptimizer.h ]]; then
  echo "run_benchmarks.sh: libmeshoptimizer-dev not installed; the comparisons will be skipped" >&2
fi

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release \
  -DVEKMESH_BUILD_BENCH=ON -DVEKMESH_BUILD_TESTS=OFF
cmake --build "$build" -j "$(nproc)"

"$build/bench/bench_self_check"

status=0
for bench in "$build"/bench/*_bench; do
  [[ -x "$bench" ]] || continue
  echo "=== $(basename "$bench")"
  "$bench" "$@" || status=1
done
exit "$status"
