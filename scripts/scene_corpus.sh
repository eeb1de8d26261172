#!/usr/bin/env bash
# Reads every scene of ../shared/corpus/scene with the vekmesh tool and prints
# the triangles and texture names each gives (a file with no faces reports
# "no triangles"); says so and exits 0 when the corpus is absent.
# Usage: scripts/scene_corpus.sh [path to vekmesh, default build/cli/vekmesh]
set -u
cd "$(dirname "$0")/.."
tool=${1:-build/cli/vekmesh}
corpus=../shared/corpus/scene
if [ ! -d "$corpus" ]; then
  echo "scene_corpus.sh: $corpus is absent; nothing to read"
  exit 0
fi
status=0
printf '%-56s %10s %6s  %s\n' file triangles names seconds
for f in "$corpus"/*; do
  start=$(date +%s.%N)
  out=$("$tool" --json info --no-intersections "$f" 2>&1)
  code=$?
  end=$(date +%s.%N)
  if [ $code -eq 0 ]; then
    read -r tris names < <(printf '%s' "$out" | python3 -c 'import json,sys; j=json.load(sys.stdin); print(j["model"]["triangles"], len(j["load"]["names"]))')
  elif printf '%s' "$out" | grep -q "holds no triangles"; then
    tris="no triangles" names=0
  else
    tris="FAILED($code)" names=- status=1
  fi
  printf '%-56s %10s %6s  %.3f\n' "$(basename "$f")" "$tris" "$names" "$(echo "$end - $start" | bc)"
done
exit $status
