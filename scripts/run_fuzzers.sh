#!/usr/bin/env bash
# Builds the libFuzzer targets of the STL, OBJ (both), PLY, 3MF and scene readers (and of the
# STEP/IGES converter's entry when OpenCASCADE is installed) with clang into
# build-fuzz, writes their seed corpus (the files the tests use, plus writer
# output; STEP and IGES files written with OpenCASCADE) and runs each target
# for a bounded time (VEKMESH_FUZZ_SECONDS, 60 by default). Fails when a target finds a crash, a leak, undefined behaviour or
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
formats=(stl obj obj_tool ply threemf vrml x3d)
targets=(stl_fuzz obj_fuzz obj_tool_fuzz ply_fuzz threemf_fuzz vrml_fuzz x3d_fuzz make_fuzz_seeds)
# The converter's target exists when the configuration found OpenCASCADE (grep
# reads the whole list: with pipefail, grep -q would break the pipe).
if cmake --build "$build" --target help | grep '\bcad_fuzz\b' >/dev/null; then
  formats+=(cad)
  targets+=(cad_fuzz make_cad_seeds)
fi
cmake --build "$build" -j"$(nproc)" --target "${targets[@]}"

seeds="$build/seeds"
rm -rf "$seeds"
mkdir -p "$seeds/stl" "$seeds/obj" "$seeds/ply" "$seeds/threemf" "$seeds/vrml" "$seeds/x3d" \
  "$seeds/cad" "$build/findings"
"$build/tests/fuzz/make_fuzz_seeds" "$seeds/stl" "$seeds/obj" "$seeds/threemf"
# The tool's OBJ reader starts from the same files.
cp -r "$seeds/obj" "$seeds/obj_tool"
# PLY in all three encodings, with colours, a quad and an element to skip.
python3 - "$seeds/ply" <<'PY'
import struct, sys
head = ("ply\nformat {}\ncomment seed\nelement vertex 4\nproperty float x\nproperty double y\n"
        "property float z\nproperty uchar red\nproperty uchar green\nproperty uchar blue\n"
        "element face 2\nproperty list uchar int vertex_indices\nelement edge 1\n"
        "property int vertex1\nproperty int vertex2\nend_header\n")
verts = [(0, 0, 0, 255, 0, 0), (1, 0, 0, 0, 255, 0), (1, 1, 0, 0, 0, 255), (0, 0, 1, 9, 9, 9)]
faces = [(0, 1, 2, 3), (0, 1, 3)]
with open(sys.argv[1] + "/ascii.ply", "w") as f:
    f.write(head.format("ascii 1.0") + "".join("%g %g %g %d %d %d\n" % v for v in verts)
            + "".join("%d %s\n" % (len(p), " ".join(map(str, p))) for p in faces) + "0 1\n")
for name, order in (("little", "<"), ("big", ">")):
    body = b"".join(struct.pack(order + "fdfBBB", *v) for v in verts)
    body += b"".join(struct.pack(order + "B%di" % len(p), len(p), *p) for p in faces)
    body += struct.pack(order + "ii", 0, 1)
    with open(sys.argv[1] + "/" + name + ".ply", "wb") as f:
        f.write(head.format("binary_%s_endian 1.0" % name).encode() + body)
PY
if [ -x "$build/tests/fuzz/make_cad_seeds" ]; then
  "$build/tests/fuzz/make_cad_seeds" "$seeds/cad"
fi
# Scenes of every kind of node the reader knows, written here.
cat >"$seeds/vrml/v2.wrl" <<'WRL'
#VRML V2.0 utf8
DEF T Transform { translation 1 0 0 rotation 0 1 0 0.5 scale 2 1 1 center 0 1 0
  children [ Shape { appearance Appearance { material Material { diffuseColor 1 0 0 }
    texture ImageTexture { url [ "a.png" "b.png" ] } }
    geometry IndexedFaceSet { coord Coordinate { point [ 0 0 0, 1 0 0, 1 1 0, 0 1 0, 0 0 1 ] }
      coordIndex [ 0 1 2 3 -1, 0 4 1 -1 ] colorPerVertex FALSE color Color { color [ 1 0 0, 0 1 0 ] }
      colorIndex [ 1 0 ] texCoord TextureCoordinate { point [ 0 0, 1 0, 1 1 ] } texCoordIndex [ 0 1 2 0 -1 0 1 2 -1 ] ccw FALSE } }
    Switch { whichChoice 0 choice [ Shape { geometry Sphere { radius 2 } } ] }
    LOD { level [ Shape { geometry Cone { bottomRadius 1 height 2 side TRUE bottom FALSE } } ] } ] }
Group { children [ USE T Shape { geometry Cylinder { radius 1 height 3 top FALSE } } ] }
Shape { geometry IndexedTriangleFanSet { coord Coordinate { point [ 0 0 0 1 0 0 1 1 0 0 1 0 ] } index [ 0 1 2 3 -1 ] } }
Shape { geometry IndexedTriangleStripSet { coord Coordinate { point [ 0 0 0 1 0 0 1 1 0 0 1 0 ] } index [ 0 1 2 3 ] } }
PROTO P [ field SFFloat x 1 ] { Group { } }
P { x 2 }
ROUTE A.b TO C.d
WRL
cat >"$seeds/vrml/v1.wrl" <<'WRL'
#VRML V1.0 ascii
Separator { Material { diffuseColor [ 1 0 0, 0 1 0 ] } MaterialBinding { value PER_FACE_INDEXED }
  Texture2 { filename ../t.jpg } TextureCoordinate2 { point [ 0 0, 1 0, 1 1 ] }
  Coordinate3 { point [ 0 0 0, 1 0 0, 1 1 0, 0 1 0 ] } ShapeHints { vertexOrdering CLOCKWISE }
  Transform { translation 0 0 1 scaleFactor 1 2 1 } MatrixTransform { matrix 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1 }
  IndexedFaceSet { coordIndex [ 0, 1, 2, -1, 0, 2, 3, -1 ] materialIndex [ 1, 0 ] textureCoordIndex [ 0 1 2 -1 0 1 2 -1 ] }
  Cube { width 1 } Cylinder { parts (SIDES | TOP) } Cone { } Sphere { } }
WRL
cat >"$seeds/x3d/scene.x3d" <<'X3D'
<?xml version="1.0" encoding="UTF-8"?>
<X3D profile="Interchange"><Scene>
<Transform DEF="T" translation="1 0 0" rotation="0 1 0 0.5" scale="2 1 1">
<Shape><Appearance><Material diffuseColor="1 0 0"/><ImageTexture url='"a.png" "b.png"'/></Appearance>
<IndexedFaceSet coordIndex="0 1 2 3 -1" colorPerVertex="false"><Coordinate point="0 0 0, 1 0 0, 1 1 0, 0 1 0"/>
<ColorRGBA color="1 0 0 1"/><TextureCoordinate point="0 0 1 0 1 1 0 1"/></IndexedFaceSet></Shape></Transform>
<Group><Transform USE="T"/><Shape><IndexedTriangleSet index="0 1 2"><Coordinate point="0 0 0 1 0 0 0 1 0"/></IndexedTriangleSet></Shape>
<Shape><TriangleFanSet fanCount="4"><Coordinate point="0 0 0 1 0 0 1 1 0 0 1 0"/></TriangleFanSet></Shape>
<Shape><Box size="1 2 3"/></Shape></Group></Scene></X3D>
X3D

# The targets hand every input to the readers as a file: keep it in memory.
if [ -d /dev/shm ] && [ -w /dev/shm ]; then export TMPDIR=/dev/shm; fi

# The readers' dictionaries; the converter's target has none.
declare -A dicts=([stl]=tests/fuzz/stl.dict [obj]=tests/fuzz/obj.dict
                  [obj_tool]=tests/fuzz/obj.dict [ply]=tests/fuzz/ply.dict
                  [threemf]=tests/fuzz/threemf.dict [vrml]=tests/fuzz/vrml.dict
                  [x3d]=tests/fuzz/x3d.dict)
# Seconds per input that count as a hang: the converter kills its own worker
# after a minute plus a minute per megabyte, so its target may take that long
# on an input that makes OpenCASCADE loop; a hang is one that outlasts it.
declare -A timeouts=([stl]=10 [obj]=10 [obj_tool]=10 [ply]=10 [threemf]=10 [vrml]=10 [x3d]=10 [cad]=120)
# OpenCASCADE frees some tables it builds once; the reports of those are
# suppressed (tests/occt_leaks.supp).
export LSAN_OPTIONS="suppressions=$PWD/tests/occt_leaks.supp${LSAN_OPTIONS:+:$LSAN_OPTIONS}"
status=0
for format in "${formats[@]}"; do
  # The working corpus grows across runs on one machine; the seeds are
  # merged in every time.
  corpus="$build/corpus/$format"
  mkdir -p "$corpus"
  echo "=== ${format}_fuzz for ${seconds}s"
  # Inputs up to 64 KB; no single allocation may exceed 64 MB, which such an
  # input never justifies.
  if ! "$build/tests/fuzz/${format}_fuzz" -max_total_time="$seconds" -max_len=65536 \
      -malloc_limit_mb=64 -rss_limit_mb=2048 -timeout="${timeouts[$format]}" -print_final_stats=1 \
      ${dicts[$format]:+-dict="${dicts[$format]}"} -artifact_prefix="$build/findings/${format}-" \
      "$corpus" "$seeds/$format"; then
    echo "run_fuzzers.sh: ${format}_fuzz found a problem (see $build/findings)" >&2
    status=1
  fi
done
exit "$status"
