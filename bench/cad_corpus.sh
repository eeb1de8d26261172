#!/usr/bin/env bash
# Times the import of every STEP and IGES file of the shared corpus
# (../shared/corpus/cad beside the repository, or the folder given) with our
# converter and with OpenCASCADE's default read-and-mesh in the same run, one
# pass per file: time, triangles, the strict flaw test, open and non-manifold
# edges. Builds the cad_corpus target in build-bench/ (needs what
# `bash scripts/setup_debian.sh --bench` installs).
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${VEKMESH_BENCH_BUILD_DIR:-$root/build-bench}"
corpus="${1:-$root/../shared/corpus/cad}"
if [ ! -d "$corpus" ]; then
  echo "cad_corpus.sh: no CAD corpus at $corpus; nothing to time" >&2
  exit 0
fi
files=()
while IFS= read -r -d '' f; do files+=("$f"); done < <(
  find "$corpus" -maxdepth 1 -type f \( -iname '*.stp' -o -iname '*.step' -o -iname '*.igs' \
    -o -iname '*.iges' \) -print0 | sort -z)
if [ ${#files[@]} -eq 0 ]; then
  echo "cad_corpus.sh: no STEP or IGES files in $corpus" >&2
  exit 0
fi
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DVEKMESH_BUILD_BENCH=ON \
  -DVEKMESH_BUILD_TESTS=OFF >/dev/null
# grep reads the whole list: with pipefail, grep -q would break the pipe.
if ! cmake --build "$build" --target help | grep '\bcad_corpus\b' >/dev/null; then
  echo "cad_corpus.sh: OpenCASCADE not found, so no converter; run: bash scripts/setup_debian.sh" >&2
  exit 1
fi
cmake --build "$build" -j "$(nproc)" --target cad_corpus VEKmeshconverter64
"$build/bench/cad_corpus" "${files[@]}"
