#!/usr/bin/env bash
# Installs the built tree into a scratch prefix and builds two consumers against
# it: one with find_package(VEKmesh), one with pkg-config.
# Usage: install_test.sh <build dir> <source dir>
set -euo pipefail
build=$1
src=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
libdir=$(dirname "$(find "$work/prefix" -name 'libVEKmesh_64.so' | head -n1)")
test -f "$work/prefix/include/vekmesh.h"
# The converter, when built, lies beside the library, where it is looked for
# first; the installed tool reaches it through its run path.
if [ -f "$build/libVEKmeshconverter64.so" ]; then
  test -f "$libdir/libVEKmeshconverter64.so"
  readelf -d "$work/prefix/bin/vekmesh" | grep -q 'ORIGIN/../'
fi

cmake -S "$src/tests/install_consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer" >/dev/null
LD_LIBRARY_PATH="$libdir" "$work/consumer/consumer"

export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046
cc "$src/tests/install_consumer/main.c" -o "$work/pc_consumer" $(pkg-config --cflags --libs vekmesh)
LD_LIBRARY_PATH="$libdir" "$work/pc_consumer"
# The scripting library, its header and the Python package beside them; the
# package finds the installed library without being told where it is.
if [ -f "$build/libvekmesh.so" ]; then
  test -f "$libdir/libvekmesh.so"
  test -f "$work/prefix/include/vekmesh/script.h"
  python_dir="$work/prefix/share/vekmesh/python"
  test -f "$python_dir/vekmesh/__init__.py"
  if /usr/bin/python3 -c "import numpy" 2>/dev/null; then
    env -u VEKMESH_LIBRARY PYTHONPATH="$python_dir" PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 -c \
      "import vekmesh, numpy as np; t = np.zeros((1, 3, 3), np.float32); t[0, 1, 0] = t[0, 2, 1] = 1
assert vekmesh.census(vekmesh.Mesh(t)).open_edges == 3"
  fi
fi
echo "install ok"
