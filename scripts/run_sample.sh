#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds VEKmesh and inspects the bundled
# damaged sample model.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup_debian.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j"$(nproc)" --target inspect_sample
./build/examples/inspect_sample examples/data/damaged_figure.stl
