#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds VEKmesh and runs its test suite.
# --sanitize builds into build-asan with AddressSanitizer and UBSan instead.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup_debian.sh
dir=build
flags=(-DCMAKE_BUILD_TYPE=Release)
if [ "${1:-}" = "--sanitize" ]; then
  dir=build-asan
  flags=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DVEKMESH_SANITIZE=ON)
fi
cmake -S . -B "$dir" "${flags[@]}" >/dev/null
cmake --build "$dir" -j"$(nproc)"
ctest --test-dir "$dir" --output-on-failure -j"$(nproc)"
