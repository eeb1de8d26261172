#!/usr/bin/env bash
# Cross-builds the Windows x64 library and tool into build-windows/ with
# MinGW-w64: VEKmesh_64.dll, its import library VEKmesh_64.lib, VEKmesh_64.def
# and vekmesh.exe, plus the test programs that scripts/test_windows.sh runs
# under Wine. Installs what it needs (idempotent). ClipperLib, pugixml and
# minizip are built for Windows from Debian's own source packages of the
# libraries the Linux build uses, fetched with apt-get source into the build
# folder.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build-windows
deps="$PWD/$build/deps"
mingw=x86_64-w64-mingw32

bash scripts/setup_debian.sh --windows
sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)

# ---- ClipperLib: the same version as the installed libpolyclipping-dev -------
version=$(dpkg-query -W -f='${Version}' libpolyclipping-dev)
stamp="$deps/lib/polyclipping-$version"
if [ ! -f "$stamp" ]; then
  if ! apt-cache showsrc libpolyclipping 2>/dev/null | grep -q '^Package:'; then
    # Source indexes from the archives the machine already uses, beside them.
    if [ -f /etc/apt/sources.list.d/debian.sources ]; then
      sed 's/^Types: deb$/Types: deb-src/' /etc/apt/sources.list.d/debian.sources |
        "${sudo_cmd[@]}" tee /etc/apt/sources.list.d/vekmesh-deb-src.sources >/dev/null
    fi
    if [ -f /etc/apt/sources.list ]; then
      sed -n 's/^deb /deb-src /p' /etc/apt/sources.list |
        "${sudo_cmd[@]}" tee /etc/apt/sources.list.d/vekmesh-deb-src.list >/dev/null
    fi
    "${sudo_cmd[@]}" apt-get update -q
  fi
  rm -rf "$build/clipper-src" "$deps/lib" "$deps/include/polyclipping"
  mkdir -p "$build/clipper-src" "$deps/lib" "$deps/include/polyclipping"
  (cd "$build/clipper-src" && apt-get source -q "libpolyclipping=$version")
  src=$(echo "$build"/clipper-src/libpolyclipping-*/cpp)
  "$mingw-g++-posix" -O2 -c "$src/clipper.cpp" -o "$build/clipper-src/clipper.o"
  "$mingw-ar" rcs "$deps/lib/libpolyclipping.a" "$build/clipper-src/clipper.o"
  cp "$src/clipper.hpp" "$deps/include/polyclipping/"
  touch "$stamp"
fi
# ---- pugixml: the same version as the installed libpugixml-dev ----------------
version=$(dpkg-query -W -f='${Version}' libpugixml-dev)
stamp="$deps/lib/pugixml-$version"
if [ ! -f "$stamp" ]; then
  rm -rf "$build/pugixml-src"
  mkdir -p "$build/pugixml-src" "$deps/lib" "$deps/include"
  (cd "$build/pugixml-src" && apt-get source -q "pugixml=$version")
  src=$(echo "$build"/pugixml-src/pugixml-*/src)
  "$mingw-g++-posix" -O2 -c "$src/pugixml.cpp" -o "$build/pugixml-src/pugixml.o"
  "$mingw-ar" rcs "$deps/lib/libpugixml.a" "$build/pugixml-src/pugixml.o"
  cp "$src/pugixml.hpp" "$src/pugiconfig.hpp" "$deps/include/"
  touch "$stamp"
fi
# ---- minizip: the same version as the installed libminizip-dev -----------------
# Its zip and unzip code on the MinGW zlib (libz-mingw-w64-dev); the archive is
# held in memory, so the Win32 file layer (iowin32.c) is not needed.
version=$(dpkg-query -W -f='${Version}' libminizip-dev)
stamp="$deps/lib/minizip-$version"
if [ ! -f "$stamp" ]; then
  rm -rf "$build/minizip-src" "$deps/include/minizip"
  mkdir -p "$build/minizip-src" "$deps/lib" "$deps/include/minizip"
  (cd "$build/minizip-src" && apt-get source -q "minizip=$version")
  src=$(echo "$build"/minizip-src/minizip-*/)
  for part in ioapi unzip zip; do
    # -w: the upstream sources warn about their encryption code, which is not used.
    "$mingw-gcc-posix" -O2 -w -c "$src/$part.c" -o "$build/minizip-src/$part.o"
  done
  "$mingw-ar" rcs "$deps/lib/libminizip.a" "$build"/minizip-src/{ioapi,unzip,zip}.o
  cp "$src"/{ioapi,unzip,zip}.h "$deps/include/minizip/"
  touch "$stamp"
fi
# Header-only libraries: the Debian headers serve any target.
mkdir -p "$deps/include"
ln -sfn /usr/include/boost "$deps/include/boost"
ln -sfn /usr/include/CLI "$deps/include/CLI"
ln -sfn /usr/include/nlohmann "$deps/include/nlohmann"

cmake -S . -B "$build" -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake \
  -DCMAKE_BUILD_TYPE=Release -DVEKMESH_WINDOWS_DEPS="$deps" >/dev/null
cmake --build "$build" -j"$(nproc)"
