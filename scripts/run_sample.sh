#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds the vekmesh tool and runs it on the
# bundled damaged sample: the flaws before, the repair, the flaws after.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup_debian.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j"$(nproc)" --target vekmesh
sample=examples/data/damaged_figure.stl
./build/cli/vekmesh info "$sample"
./build/cli/vekmesh repair "$sample" -o build/damaged_figure_repaired.stl
