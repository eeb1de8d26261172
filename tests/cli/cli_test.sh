#!/usr/bin/env bash
# Runs the built vekmesh tool as a user would: each subcommand on the shipped
# damaged sample, and each user error, checking exit codes, messages and that a
# failed command leaves no output file behind.
# Usage: cli_test.sh <path to vekmesh> <path to the sample STL> <project version>
set -u
tool=$1
sample=$2
version=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0

fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# expect <exit code> <text expected in the combined output> -- command...
expect() {
  local code=$1 text=$2
  shift 3
  local out
  out=$("$tool" "$@" 2>&1)
  local got=$?
  [ "$got" -eq "$code" ] || fail "vekmesh $*: exit $got, wanted $code; output: $out"
  case "$out" in *"$text"*) ;; *) fail "vekmesh $*: output lacks '$text': $out" ;; esac
}

no_file() { [ ! -e "$1" ] || fail "$1 exists after a failed command"; ls -a | grep -q '\.part' && fail "temporary file left: $(ls -a)"; true; }

cp "$sample" model.stl
cp "$sample" PART.STL

# --- success -------------------------------------------------------------------
expect 0 "triangles" -- info model.stl
expect 0 "flaw test" -- info PART.STL
json=$("$tool" --json info model.stl) || fail "info --json failed"
echo "$json" | python3 -c 'import json,sys; d=json.load(sys.stdin); assert d["model"]["triangles"] > 1000, d' \
  || fail "info --json is not the expected JSON: $json"

expect 0 "after repair" -- repair model.stl -o repaired.stl
[ -s repaired.stl ] || fail "repair wrote no file"
expect 0 "triangles" -- info repaired.stl

expect 0 "model.obj" -- convert model.stl model.obj
grep -q '^v ' model.obj || fail "converted OBJ has no vertex lines"
expect 0 "triangles" -- info model.obj
expect 0 "model.STL" -- convert model.obj model.STL
[ -s model.STL ] || fail "convert to upper-case .STL wrote nothing"

expect 0 "parts" -- separate model.stl -o part.stl
[ -s part-1.stl ] || fail "separate wrote no part-1.stl"

expect 0 "->" -- reduce model.stl -o reduced.stl --ratio 0.5 --max-error 0.01
[ -s reduced.stl ] || fail "reduce wrote no file"

# A flat strip of 300000 triangles whose first one is doubled: the repair
# exports keep the copy at this size, the tool removes it.
python3 - <<'PY'
import struct
n = 299999
with open("strip.stl", "wb") as f:
    f.write(b"strip".ljust(80, b" ") + struct.pack("<I", n + 1))
    rec = []
    for t in range(n):
        i = float(t // 2)
        c = (i, 0, 0, i + 1, 0, 0, i, 1, 0) if t % 2 == 0 else (i + 1, 0, 0, i + 1, 1, 0, i, 1, 0)
        rec.append(struct.pack("<12fH", 0, 0, 0, *c, 0))
    rec.append(rec[0])
    f.write(b"".join(rec))
PY
"$tool" repair strip.stl -o strip-fixed.stl >/dev/null 2>&1 || fail "repair of the doubled strip failed"
strip_faces=$("$tool" --json info strip-fixed.stl | python3 -c 'import json,sys; print(json.load(sys.stdin)["model"]["triangles"])')
[ "$strip_faces" = 299999 ] || fail "the tool's repair kept the doubled facet at 300000 faces: $strip_faces triangles"

# --- errors --------------------------------------------------------------------
expect 1 "no such file" -- repair missing.stl -o out1.stl
no_file out1.stl
mkdir folder.stl
expect 1 "directory" -- convert folder.stl out2.obj
no_file out2.obj
printf 'hello' > notes.txt
expect 1 "known extensions: stl, obj, wrl" -- convert notes.txt out3.stl
no_file out3.stl
: > empty.stl
expect 1 "no triangles" -- repair empty.stl -o out4.stl
no_file out4.stl
expect 1 "cannot write" -- convert model.stl no/such/dir/out5.stl
no_file no/such/dir/out5.stl
expect 1 "known extensions" -- convert model.stl out6.ply
no_file out6.ply
expect 2 "" -- repair model.stl
expect 2 "" -- frobnicate model.stl

[ ! -e logFile.log ] || fail "a run without --log left logFile.log"

# --- version and log -------------------------------------------------------------
expect 0 "$version" -- --version
# --log appends the operation log in the working directory; a second run adds
# its lines after the first run's.
expect 0 "after repair" -- --log repair model.stl -o logged.stl
first=$(wc -c < logFile.log 2>/dev/null || echo 0)
expect 0 "after repair" -- --log repair model.stl -o logged.stl
starts=$(grep -c -- '---start executing repair---' logFile.log)
successes=$(grep -c -- '---{success} repair : [0-9]*\.[0-9]\{6\} sec\.---' logFile.log)
[ "$first" -gt 0 ] && [ "$(wc -c < logFile.log)" -gt "$first" ] \
  || fail "the second --log run did not append its own lines ($first bytes after one run)"
[ "$starts" -eq 2 ] && [ "$successes" -eq 2 ] \
  || fail "logFile.log lacks two repairs' start and success lines: $(cat logFile.log)"

if [ "$failures" -ne 0 ]; then
  echo "$failures failure(s)"
  exit 1
fi
echo "all tool checks passed"
