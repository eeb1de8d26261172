#!/usr/bin/env bash
# Tests the Windows build (scripts/build_windows.sh) under wine64, headless, in
# a fresh Wine prefix inside build-windows/: the export table of the DLL, the
# C host loading it with LoadLibrary/GetProcAddress, the platform layer's
# Win32 side, and vekmesh.exe on the bundled sample, whose report, repaired
# model and PLY, 3MF and GLB conversions must equal the Linux build's (build/,
# built here if missing) byte for byte. The report is compared without carriage returns: a Windows program's
# text output ends its lines with CRLF.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build-windows
if [ ! -f "$build/VEKmesh_64.dll" ]; then
  echo "test_windows.sh: no Windows build; run: bash scripts/build_windows.sh" >&2
  exit 1
fi
wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
export WINEDEBUG=-all WINEPREFIX="$PWD/$build/wineprefix" WINEDLLOVERRIDES="mscoree,mshtml="
rm -rf "$WINEPREFIX"
"$wine" wineboot --init >/dev/null 2>&1
"$(dirname "$wine")/wineserver" -w

echo "=== Windows build under Wine: export table, C host, platform layer"
ctest --test-dir "$build" --output-on-failure

echo "=== vekmesh.exe against the Linux tool on the bundled sample"
if [ ! -x build/cli/vekmesh ]; then
  cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
  cmake --build build -j"$(nproc)" --target vekmesh
fi
sample=examples/data/damaged_figure.stl
work="$build/sample-check"
rm -rf "$work"
mkdir -p "$work/linux" "$work/windows"
cp "$sample" "$work/linux/model.stl"
cp "$sample" "$work/windows/model.stl"
failures=0
(cd "$work/linux" && ../../../build/cli/vekmesh info model.stl >info.txt &&
  ../../../build/cli/vekmesh repair model.stl -o repaired.stl >repair.txt)
(cd "$work/windows" && "$wine" ../../vekmesh.exe info model.stl | tr -d '\r' >info.txt &&
  "$wine" ../../vekmesh.exe repair model.stl -o repaired.stl | tr -d '\r' >repair.txt)
# The tool's other formats: the same bytes on both sides (the 3MF's zip
# entries carry no dates, and both sides deflate with Debian's zlib).
for out in model.ply model.3mf model.glb; do
  (cd "$work/linux" && ../../../build/cli/vekmesh convert model.stl "$out" >/dev/null)
  (cd "$work/windows" && "$wine" ../../vekmesh.exe convert model.stl "$out" >/dev/null)
done
for file in info.txt repair.txt repaired.stl model.ply model.3mf model.glb; do
  if cmp "$work/linux/$file" "$work/windows/$file"; then
    echo "same: $file ($(wc -c <"$work/linux/$file") bytes)"
  else
    echo "DIFFERENT: $file (see $work)"
    failures=$((failures + 1))
  fi
done
if [ "$failures" -ne 0 ]; then
  diff "$work/linux/repair.txt" "$work/windows/repair.txt" || true
  exit 1
fi
"$(dirname "$wine")/wineserver" -k || true
