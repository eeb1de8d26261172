#!/usr/bin/env bash
# Runs the built vekmesh tool as a user would: each subcommand on the shipped
# damaged sample, and each user error, checking exit codes, messages and that a
# failed command leaves no output file behind.
# Usage: cli_test.sh <path to vekmesh> <path to the sample STL> <project version>
set -u
tool=$1
version=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
cp "$2" model.stl
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# expect <exit code> <text expected in the combined output> -- command...
expect() {
  local code=$1 text=$2 out got
  shift 3
  out=$("$tool" "$@" 2>&1)
  got=$?
  [ "$got" -eq "$code" ] || fail "vekmesh $*: exit $got, wanted $code; output: $out"
  case "$out" in *"$text"*) ;; *) fail "vekmesh $*: output lacks '$text': $out" ;; esac
}
# refuse <text> <output file> -- command...: exit 1, and neither the output
# nor a temporary file is left.
refuse() {
  expect 1 "$1" "${@:3}"
  [ ! -e "$2" ] || fail "$2 exists after a failed command"
  ! ls -a | grep -q '\.part' || fail "temporary file left: $(ls -a)"
}
triangles() { "$tool" --json info "$1" | python3 -c 'import json,sys; print(json.load(sys.stdin)["model"]["triangles"])'; }

# --- success -------------------------------------------------------------------
expect 0 "flaw test" -- info model.stl
[ "$(triangles model.stl)" -gt 1000 ] || fail "info --json does not give the triangle count"
expect 0 "after repair" -- repair model.stl -o repaired.stl
expect 0 "model.obj" -- convert model.stl model.obj
grep -q '^v ' model.obj || fail "converted OBJ has no vertex lines"
expect 0 "model.STL" -- convert model.obj model.STL
expect 0 "parts" -- separate model.stl -o part.stl
expect 0 "->" -- reduce model.stl -o reduced.stl --ratio 0.5 --max-error 0.01
expect 0 "Rx" -- orient model.stl -o oriented.stl
for f in repaired.stl model.STL part-1.stl reduced.stl oriented.stl; do expect 0 "triangles" -- info "$f"; done

# Remeshing a selection (a list, a file) and the whole model; a bad list is
# a user error that leaves no file.
expect 0 "faces remeshed into" -- remesh model.stl -o remeshed.stl --faces 0,5,7-400
printf '10 11\n12-300, 400\n' > faces.txt
expect 0 '"remeshed_faces":292' -- --json remesh model.stl -o remeshed-file.stl --faces faces.txt
expect 0 "faces remeshed into" -- remesh model.stl -o remeshed-all.stl
expect 0 "triangles" -- info remeshed.stl
refuse "neither a face index" remeshed-bad.stl -- remesh model.stl -o remeshed-bad.stl --faces 3,x-7
refuse "names no face" remeshed-none.stl -- remesh model.stl -o remeshed-none.stl --faces 99999999

# A flat strip of 300000 triangles whose first one is doubled: the repair
# exports keep the copy at this size, the tool removes it.
python3 - <<'PY'
import struct
n = 299999
rec = [struct.pack("<12fH", 0, 0, 0, *((t // 2, 0, 0, t // 2 + 1, 0, 0, t // 2, 1, 0) if t % 2 == 0
       else (t // 2 + 1, 0, 0, t // 2 + 1, 1, 0, t // 2, 1, 0)), 0) for t in range(n)]
with open("strip.stl", "wb") as f:
    f.write(b"strip".ljust(80, b" ") + struct.pack("<I", n + 1) + b"".join(rec + rec[:1]))
PY
"$tool" repair strip.stl -o strip-fixed.stl >/dev/null 2>&1 || fail "repair of the doubled strip failed"
[ "$(triangles strip-fixed.stl)" = 299999 ] || fail "the tool's repair kept the doubled facet at 300000 faces"

# Voxels and hollowing on a closed cube of edge 20: the voxel model is closed,
# the hollowed one holds the model and the cavity turned inwards.
python3 - <<'PY'
import struct
e = 20.0
v = [(0, 0, 0), (e, 0, 0), (e, e, 0), (0, e, 0), (0, 0, e), (e, 0, e), (e, e, e), (0, e, e)]
t = [(0, 2, 1), (0, 3, 2), (4, 5, 6), (4, 6, 7), (0, 1, 5), (0, 5, 4), (2, 3, 7), (2, 7, 6),
     (1, 2, 6), (1, 6, 5), (3, 0, 4), (3, 4, 7)]
with open("cube20.stl", "wb") as f:
    f.write(b"cube".ljust(80, b" ") + struct.pack("<I", len(t)))
    for tri in t:
        f.write(struct.pack("<12fH", 0, 0, 0, *[c for i in tri for c in v[i]], 0))
PY
expect 0 "triangles of voxel faces" -- voxelize cube20.stl -o voxels.stl --size 0.5
expect 0 "printable      : yes" -- info voxels.stl
hollow_json=$("$tool" --json hollow cube20.stl -o hollowed.stl --wall 2)
python3 -c 'import json,sys; r=json.loads(sys.argv[1]); assert r["wall_layers"] == 4 and 0.2 < r["hollow_share"] < 0.8, r' "$hollow_json" \
  || fail "hollow --json: $hollow_json"
expect 0 "shells         : 2 (closed 2, cavities 1)" -- info hollowed.stl
refuse "nothing to hollow" thin.stl -- hollow cube20.stl -o thin.stl --wall 11
expect 2 "" -- voxelize cube20.stl -o voxels.stl --size -1

# The lampshade of a tower 30 x 30 x 40: the preview lists its base outline
# and the inner one the wall leaves; the shade is one closed outward shell.
python3 - <<'PY'
import struct
v = [(x, y, z) for z in (0, 40) for y in (0, 30) for x in (0, 30)]
t = [(0, 2, 1), (1, 2, 3), (4, 5, 6), (5, 7, 6), (0, 1, 4), (1, 5, 4),
     (2, 6, 3), (3, 6, 7), (0, 4, 2), (2, 4, 6), (1, 3, 5), (3, 7, 5)]
with open("tower.stl", "wb") as f:
    f.write(b"tower".ljust(80, b" ") + struct.pack("<I", len(t)))
    for tri in t:
        f.write(struct.pack("<12fH", 0, 0, 0, *[c for i in tri for c in v[i]], 0))
PY
expect 0 "a shade fits, 1 base and 1 inner outlines" -- lampshade tower.stl --preview --wall 2
preview_json=$("$tool" --json lampshade tower.stl --preview --wall 2)
python3 -c 'import json,sys; r=json.loads(sys.argv[1]); k=[o["kind"] for o in r["outlines"]]; assert r["status"] == 1 and k == ["base", "inner"] and all(p[2] == 0 for o in r["outlines"] for p in o["points"]), r' "$preview_json" \
  || fail "lampshade --preview --json: $preview_json"
expect 0 "no shade fits" -- lampshade cube20.stl --preview --wall 8
expect 0 "base cut flat" -- lampshade tower.stl -o shade.stl --wall 2
expect 0 "shells         : 1 (closed 1, cavities 0)" -- info shade.stl
expect 0 "printable      : yes" -- info shade.stl
refuse "no shade" thick.stl -- lampshade cube20.stl -o thick.stl --wall 11
expect 2 "needs -o" -- lampshade tower.stl --wall 2

# Subdivision: the cube keeps its shape and stays closed (12 -> 192 faces in
# two rounds); a level below 1 changes nothing; --colour runs both passes.
expect 0 "cube20.stl: 12 triangles -> subdivided.stl: 192 triangles" -- subdivide cube20.stl -o subdivided.stl --level 2
expect 0 "volume         : 8000" -- info subdivided.stl
expect 0 "printable      : yes" -- info subdivided.stl
expect 0 "-> unchanged.stl: 12 triangles" -- subdivide cube20.stl -o unchanged.stl --level -3
subdivide_json=$("$tool" --json subdivide tower.stl -o tower-sub.stl --level 1 --colour)
python3 -c 'import json,sys; r=json.loads(sys.argv[1]); assert r["colour"] and r["triangles_after"] == 48, r' "$subdivide_json" \
  || fail "subdivide --colour --json: $subdivide_json"
expect 2 "" -- subdivide cube20.stl -o bad.stl --level many

# --- the census report -------------------------------------------------------------
# A cube of edge 2 wound inwards, with one facet whose corners repeat (dropped
# when welded), under a name holding a quote and a backslash.
python3 - <<'PY'
import struct
p = [(x, y, z) for z in (0, 2) for y in (0, 2) for x in (0, 2)]
tris = [(0, 2, 1), (1, 2, 3), (4, 5, 6), (5, 7, 6), (0, 1, 4), (1, 5, 4),
        (2, 6, 3), (3, 6, 7), (0, 4, 2), (2, 4, 6), (1, 3, 5), (3, 7, 5)]
rec = [struct.pack("<12fH", 0, 0, 0, *p[a], *p[c], *p[b], 0) for a, b, c in tris]
rec.append(struct.pack("<12fH", 0, 0, 0, *p[0], *p[0], *p[1], 0))
with open('in"ward\\cube.stl', "wb") as f:
    f.write(b"inward".ljust(80, b" ") + struct.pack("<I", len(rec)) + b"".join(rec))
PY
inward='in"ward\cube.stl'
[ -f "$inward" ] || fail "the test could not write $inward"
expect 0 "volume         : -8 (signed)" -- info "$inward"
expect 0 "printable      : no: 1 inside-out shell" -- info "$inward"
expect 0 "dropped at load: 1 of 13 triangles" -- info "$inward"
expect 0 "host flaw test : strict flawed" -- info "$inward"
expect 0 "shell 1: 12 faces, inside out, volume -8" -- info --shells "$inward"
# check_json <python expression over the output j and the environment E> -- command...
check_json() {
  local test=$1 out
  shift 2
  out=$("$tool" "$@" 2>/dev/null)
  printf '%s' "$out" | python3 -c "import json, os, sys; j = json.load(sys.stdin); E = os.environ
sys.exit(0 if ($test) else 1)" || fail "vekmesh $*: JSON missing or not as expected ($test): $out"
}
export INWARD="$inward" OUTPUT='out"put\x.stl'
check_json 'j["input"] == E["INWARD"] and j["load"]["triangles_dropped"] == 1' -- --json info "$inward"
check_json 'j["model"]["volume"] == -8 and j["model"]["census"]["inside_out_shells"] == 1
  and j["model"]["reasons"] == ["1 inside-out shell"] and not j["model"]["printable"]' -- --json info "$inward"
check_json 'len(j["model"]["shell_list"]) == 1' -- --json info --shells "$inward"
check_json 'j["output"] == E["OUTPUT"] and j["after"]["volume"] == 8 and j["after"]["printable"]' \
  -- --json repair "$inward" -o "$OUTPUT"
check_json '[j["rx"], j["ry"], j["rz"]] == [0, 0, 0] and j["output"] == "upright.obj"' \
  -- --json orient "$OUTPUT" -o upright.obj
check_json 'j["model"]["bounds"]["min"][2] == 0' -- --json info upright.obj
check_json 'j["output"] == "co\"nv.obj"' -- --json convert "$inward" 'co"nv.obj'
check_json 'j["model"]["census"]["intersecting_shell_pairs"] is None' -- --json info --no-intersections "$inward"
# A gzip-compressed VRML scene under an upper-case .WRZ name, with a texture.
python3 - <<'PY'
import gzip
cube = ("Shape { appearance Appearance { texture ImageTexture { url \"bark.png\" } }\n"
        " geometry IndexedFaceSet { coord Coordinate { point [ 0 0 0, 1 0 0, 1 1 0, 0 1 0,"
        " 0 0 1, 1 0 1, 1 1 1, 0 1 1 ] } coordIndex [ 0 3 2 1 -1, 4 5 6 7 -1, 0 1 5 4 -1,"
        " 2 3 7 6 -1, 0 4 7 3 -1, 1 2 6 5 -1 ] } }")
with gzip.open("scene.WRZ", "wt") as f:
    f.write("#VRML V2.0 utf8\n" + cube)
PY
expect 0 "bark.png" -- info scene.WRZ
check_json 'j["load"]["names"] == ["bark.png"] and j["model"]["triangles"] == 12' -- --json info scene.WRZ
# A name that is not UTF-8 still gives valid JSON, the stray byte replaced.
cp model.stl "$(printf 'latin\xff.stl')"
check_json 'j["input"] == "latin\ufffd.stl"' -- --json info "$(printf 'latin\xff.stl')"

# An OBJ with relative face numbers: a closed tetrahedron.
printf 'v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf -4 -2 -3\nf -4 -3 -1\nf -4 -1 -2\nf -3 -2 -1\n' > rel.obj
[ "$(triangles rel.obj)" = 4 ] || fail "the relative face numbers of rel.obj were not read"
# An OBJ with colours and texture coordinates on two named materials, one
# with an image that is not there: the OBJ written back keeps all of it with
# its .mtl; the glTF refers to the image and the tool warns.
cat > tex.obj <<'OBJ'
mtllib tex.mtl
o box part
v 0 0 0 1 0 0
v 1 0 0 0 1 0
v 0 1 0 0 0 1
v 0 0 1 0.5 0.5 0.5
vt 0.125 0.25
vt 0.75 0.5
usemtl red paint
f 1/1 3/2 2/1
f 1/2 2/1 4/2
usemtl wood grain
f 1 4 3
usemtl red paint
f 2/1 3/1 4/2
OBJ
printf 'newmtl red paint\nKd 1 0 0\nnewmtl wood grain\nmap_Kd maps/grain.png\n' > tex.mtl
mkdir -p out
expect 0 "out/back.obj" -- convert tex.obj out/back.obj
grep -q '^map_Kd ../maps/grain.png$' out/back.mtl || fail "back.mtl lacks the image: $(cat out/back.mtl)"
check_json '[m["name"] for m in j["load"]["materials"]] == ["red paint", "wood grain"] and j["load"]["groups"] == ["box part"]
  and j["model"]["triangles"] == 4' -- --json info out/back.obj
expect 0 "grain.png' of material 'wood grain' not found" -- convert out/back.obj tex.gltf
python3 - <<'PY' || fail "the OBJ round trip or the glTF of tex.obj is not as expected"
import json
def faces(name):
    v, vt, out, mat = [], [], [], None
    for line in open(name):
        w = line.split()
        if not w: continue
        # Colours compare as the bytes they are kept in.
        if w[0] == "v": v.append(tuple(map(float, w[1:4])) + tuple(round(float(x) * 255) for x in w[4:]))
        elif w[0] == "vt": vt.append(tuple(map(float, w[1:])))
        elif w[0] == "usemtl": mat = " ".join(w[1:])
        elif w[0] == "f":
            c = [(v[int(x.split("/")[0]) - 1], vt[int(x.split("/")[1]) - 1] if "/" in x and x.split("/")[1] else (0.0, 0.0)) for x in w[1:]]
            k = c.index(min(c))
            out.append((tuple(c[k:] + c[:k]), mat))
    return sorted(out)
a, b = faces("tex.obj"), faces("out/back.obj")
assert a == b, (a, b)
g = json.load(open("tex.gltf"))
assert [m["name"] for m in g["materials"]] == ["red paint", "wood grain"], g["materials"]
assert g["images"] == [{"uri": "maps/grain.png"}], g.get("images")
PY
# Named materials on white corners travel through 3MF as base materials.
printf 'v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nusemtl steel\nf 1 3 2\nf 1 2 4\nusemtl brass\nf 1 4 3\nf 2 3 4\n' > mat.obj
expect 0 "mat.3mf" -- convert mat.obj mat.3mf
check_json '[m["name"] for m in j["load"]["materials"]] == ["steel", "brass"]' -- --json info mat.3mf
# A plain model stays plain: no material library, no colours; the OBJ round
# trip keeps the triangles bit-exact (checked with PLY and 3MF below).
expect 0 "plain.obj" -- convert model.stl plain.obj
! grep -q '^mtllib\|^usemtl' plain.obj || fail "plain.obj names materials"
! grep -q '^v \S* \S* \S* ' plain.obj || fail "plain.obj has vertex colours"
expect 0 "back_obj.stl" -- convert plain.obj back_obj.stl
# A face numbering past the vertices, a coordinate past single precision and
# binary junk: errors that name the line.
printf 'v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n' > past.obj
refuse "line 4: a face refers to vertex 9 of 3" out14.stl -- convert past.obj out14.stl
printf 'v 0 0 0\nv 1e300 0 0\n' > huge.obj
refuse "line 2: a vertex coordinate is not a finite" out15.stl -- convert huge.obj out15.stl
head -c 300 "$tool" > junk.obj
refuse "control character" out16.stl -- convert junk.obj out16.stl
# PLY (any case) and glTF: the geometry comes back bit-exact through binary
# PLY, 3MF and OBJ; the .gltf has its .bin beside it, the .glb stands alone.
expect 0 "ref.stl" -- convert model.stl ref.stl
expect 0 "model.PLY" -- convert model.stl model.PLY
expect 0 "back.stl" -- convert model.PLY back.stl
expect 0 "model.3MF" -- convert model.PLY model.3MF
expect 0 "back3.stl" -- convert model.3MF back3.stl
expect 0 "model.gltf" -- convert model.stl model.gltf
expect 0 "model.glb" -- convert model.PLY model.glb
python3 - <<'PY' || fail "PLY round trip changed the triangles, or the glTF files are not as expected"
import json, struct, sys
def tris(name):
    b = open(name, "rb").read()
    n = struct.unpack_from("<I", b, 80)[0]
    out = []
    for t in range(n):
        c = struct.unpack_from("<9f", b, 84 + 50 * t + 12)
        k = min(range(3), key=lambda i: c[3 * i:3 * i + 3])  # rotation-independent
        out.append(c[3 * k:] + c[:3 * k])
    return sorted(out)
a, b, c, d = tris("ref.stl"), tris("back.stl"), tris("back3.stl"), tris("back_obj.stl")
if a != b or a != c or a != d:
    sys.exit("PLY, 3MF or OBJ: %d, %d, %d vs %d triangles, or changed coordinates"
             % (len(b), len(c), len(d), len(a)))
import zipfile, xml.etree.ElementTree as ET
z = zipfile.ZipFile("model.3MF")
assert "[Content_Types].xml" in z.namelist() and "_rels/.rels" in z.namelist()
core = "{http://schemas.microsoft.com/3dmanufacturing/core/2015/02}"
root = ET.fromstring(z.read("3D/3dmodel.model"))
assert len(root.findall(core + "build/" + core + "item")) == 1
g = json.load(open("model.gltf"))
assert g["buffers"][0]["uri"] == "model.bin"
assert open("model.bin", "rb").read() and open("model.glb", "rb").read(4) == b"glTF"
count = sum(g["accessors"][p["indices"]]["count"] for p in g["meshes"][0]["primitives"])
assert count == 3 * len(a), (count, len(a))
PY
[ ! -e model.glb.bin ] && [ ! -e model.bin.bin ] || fail "the .glb left a buffer file"

# --- errors --------------------------------------------------------------------
mkdir folder.stl && printf 'hello' > notes.txt && : > empty.stl
refuse "no such file" out1.stl -- repair missing.stl -o out1.stl
refuse "directory" out2.obj -- convert folder.stl out2.obj
refuse "known extensions: stl, obj, ply, 3mf, wrl" out3.stl -- convert notes.txt out3.stl
refuse "no triangles" out4.stl -- repair empty.stl -o out4.stl
refuse "cannot write" no/such/dir/out5.stl -- convert model.stl no/such/dir/out5.stl
refuse "known extensions" out6.3ds -- convert model.stl out6.3ds
refuse "not read" out7.stl -- convert model.glb out7.stl
# A PLY whose header claims more faces than it holds, and one that indexes
# past its vertices.
printf 'ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\nelement face 1000000\nproperty list uchar int vertex_indices\nend_header\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n' > short.ply
refuse "no triangles" out8.stl -- convert short.ply out8.stl
printf 'ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\nelement face 1\nproperty list uchar int vertex_indices\nend_header\n0 0 0\n1 0 0\n0 1 0\n3 0 1 7\n' > past.ply
refuse "no triangles" out9.stl -- convert past.ply out9.stl
refuse "cannot write" no/such/dir/out10.glb -- convert model.stl no/such/dir/out10.glb
# A zip that is not a 3MF.
python3 -c 'import zipfile; zipfile.ZipFile("notes.3mf", "w").writestr("readme.txt", "hello")'
refuse "no triangles" out11.stl -- convert notes.3mf out11.stl
# STEP and IGES in any case reach the converter; a file it cannot read, or a
# missing converter, is an error that names it.
printf 'ISO-10303-21;\nnot really\n' > part.STEP
refuse "converter" out12.stl -- convert part.STEP out12.stl
expect 2 "" -- repair model.stl
expect 2 "" -- frobnicate model.stl
expect 0 "$version" -- --version
[ ! -e logFile.log ] || fail "a run without --log left logFile.log"

# --- log -------------------------------------------------------------------------
# --log appends the operation log in the working directory: three runs, the
# thorough repair's, the described one's and hollowing's start and success
# lines.
expect 0 "after repair" -- --log repair model.stl -o logged.stl
expect 0 "after repair" -- --log repair --described model.stl -o logged.stl
expect 0 "hollow share" -- --log hollow cube20.stl -o logged.stl --wall 2
grep -q "hollow volume: [0-9]*\.[0-9]\{6\} %" logFile.log || fail "logFile.log lacks the hollow volume"
for name in "thorough repair" "repair" "light weight"; do
  starts=$(grep -c -- "---start executing $name---" logFile.log)
  successes=$(grep -c -- "---{success} $name : [0-9]*\.[0-9]\{6\} sec\.---" logFile.log)
  [ "$starts" -eq 1 ] && [ "$successes" -eq 1 ] \
    || fail "logFile.log lacks the $name start and success lines: $(cat logFile.log)"
done

[ "$failures" -eq 0 ] || { echo "$failures failure(s)"; exit 1; }
echo "all tool checks passed"
