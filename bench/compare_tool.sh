#!/usr/bin/env bash
# Whole-process comparison of the vekmesh tool with admesh on damaged sphere
# soups: each side is one process from start to exit, so reading the file,
# welding, the work itself and writing the result all count. Builds nothing:
# it runs the binaries it is given (make_soup and edge_check come from the
# benchmark build, see bench/CMakeLists.txt).
set -euo pipefail
export LC_ALL=C  # a decimal point in EPOCHREALTIME and in printf

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
vekmesh="$root/build-bench/cli/vekmesh"
make_soup="$root/build-bench/bench/make_soup"
edge_check="$root/build-bench/bench/edge_check"
admesh="$(command -v admesh || echo admesh)"
work=/tmp/vekmesh-compare
triangles=1000000
rounds=5
seed=1
threads=""
order_triangles=""
thread_ratio=0
variants="holes duplicates flipped degenerate"

usage() {
  cat <<EOF
usage: bash bench/compare_tool.sh [options]
  --vekmesh PATH          the tool (default build-bench/cli/vekmesh)
  --make-soup PATH        the soup generator (default build-bench/bench/make_soup)
  --edge-check PATH       the edge checker (default build-bench/bench/edge_check)
  --admesh PATH           the peer (default admesh on PATH)
  --work-dir DIR          soups and outputs (default /tmp/vekmesh-compare)
  --triangles N           soup size (default 1000000)
  --rounds R              paired rounds per soup and command (default 5)
  --seed S                make_soup's seed (default 1)
  --variants "A B"        damage kinds (default "holes duplicates flipped degenerate")
  --threads N             OMP_NUM_THREADS for our side (admesh is single-threaded)
  --order-triangles N     also time our shuffled / in-order ratio at N triangles
  --thread-ratio          also time our repair on two threads against one, on each soup
EOF
}

while (($#)); do
  case "$1" in
    --vekmesh) vekmesh="$2"; shift 2 ;;
    --make-soup) make_soup="$2"; shift 2 ;;
    --edge-check) edge_check="$2"; shift 2 ;;
    --admesh) admesh="$2"; shift 2 ;;
    --work-dir) work="$2"; shift 2 ;;
    --triangles) triangles="$2"; shift 2 ;;
    --rounds) rounds="$2"; shift 2 ;;
    --seed) seed="$2"; shift 2 ;;
    --variants) variants="$2"; shift 2 ;;
    --threads) threads="$2"; shift 2 ;;
    --order-triangles) order_triangles="$2"; shift 2 ;;
    --thread-ratio) thread_ratio=1; shift ;;
    -h | --help) usage; exit 0 ;;
    *) echo "compare_tool.sh: unknown option $1" >&2; usage >&2; exit 2 ;;
  esac
done

for tool in "$vekmesh" "$make_soup" "$edge_check"; do
  if [[ ! -x "$tool" ]]; then
    echo "compare_tool.sh: $tool is not built (cmake --build build-bench)" >&2
    exit 1
  fi
done
if [[ ! -x /usr/bin/time ]]; then
  echo "compare_tool.sh: /usr/bin/time is missing (apt-get install time)" >&2
  exit 1
fi
have_admesh=0
[[ -x "$admesh" ]] && have_admesh=1

mkdir -p "$work/soups" "$work/out" "$work/logs"
ours_env=(env)
[[ -n "$threads" ]] && ours_env=(env "OMP_NUM_THREADS=$threads")

# --- measuring -----------------------------------------------------------------

# Runs "$@" under /usr/bin/time with its output to $log. Sets t_sec to the wall
# seconds the shell measured around it (microseconds; GNU time's %e has only
# hundredths, too coarse at 100k triangles), t_kb to the peak RSS in KB and
# t_ok to 1 when the command succeeded.
log=/dev/null
timed_run() {
  local start end
  start=$EPOCHREALTIME
  if /usr/bin/time -o "$work/time.txt" -f '%e %M' "$@" >"$log" 2>&1; then t_ok=1; else t_ok=0; fi
  end=$EPOCHREALTIME
  t_sec=$(awk -v a="$start" -v b="$end" 'BEGIN { printf "%.4f", b - a }')
  # A failed command adds a "Command exited with non-zero status" line first.
  t_kb=$(tail -n 1 "$work/time.txt" | awk '{ print $2 }')
}

# median, min and max of the arguments
stats() {
  printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 }
    END { m = NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2; print m, v[1], v[NR] }'
}
max_of() { printf '%s\n' "$@" | sort -g | tail -n 1; }

# a / b to four places: one round's paired ratio
ratio_of() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.4f", a / b }'; }

# "median_a median_b ratio_median ratio_min ratio_max" of two sides' seconds
# and their per-round ratios, the three arrays given by name
paired_summary() {
  local -n a_s=$1 b_s=$2 r_s=$3
  local am bm
  read -r am _ _ <<<"$(stats "${a_s[@]}")"
  read -r bm _ _ <<<"$(stats "${b_s[@]}")"
  echo "$am $bm $(stats "${r_s[@]}")"
}

facets_of() { echo $((($(stat -c %s "$1") - 84) / 50)); }

make_variant() {  # size damage order(in-order|shuffled) path
  local extra=()
  [[ "$3" == shuffled ]] && extra=(--shuffle)
  "$make_soup" --triangles "$1" --damage "$2" --seed "$seed" "${extra[@]}" "$4" >/dev/null
}

# --- the header: what each side includes --------------------------------------

threads_note="OpenMP default ($(nproc) cores)"
[[ -n "$threads" ]] && threads_note="OMP_NUM_THREADS=$threads"
echo "Whole-process comparison, $(date -u +%Y-%m-%dT%H:%MZ), $(nproc) cores"
echo "ours:   $vekmesh ($("$vekmesh" --version 2>&1 | head -n 1)), $threads_note"
if ((have_admesh)); then
  echo "peer:   $admesh ($("$admesh" --version 2>&1 | head -n 1)), single-threaded"
else
  echo "peer:   admesh not found (apt-get install admesh): timing our side only"
fi
cat <<EOF
Each side is one whole process, timed from start to exit: reading the binary STL,
welding, the work, writing the output file (repair) and printing its report.
  info    ours: vekmesh info FILE          (counts, volume, area, flaw test)
          peer: admesh -e FILE              (exact edge check and its statistics only)
  repair  ours: vekmesh repair FILE -o OUT  (snap, duplicates, winding, hole filling)
          peer: admesh -e -n -u -f -d -v -b OUT FILE   (its full default repair: exact,
                nearby, remove unconnected, fill holes, normal directions and values)
Soups: make_soup UV spheres of about $triangles triangles, seed $seed, one damage each,
in order and shuffled (same triangles, order and corner rotation differ).
$rounds rounds per soup and command, alternating which side runs first; seconds are
medians, ratio = median of the per-round ours/admesh ratios [min..max]; RSS is the
highest peak resident set over the rounds; B/tri = our peak RSS per input triangle.
EOF

# --- the timed rounds ------------------------------------------------------------

status=0  # 1 when a run failed or the soups disagree
declare -A median_s  # "soup command side" -> median seconds
declare -A input_census  # soup -> edge_check's line for the soup itself
soups=()
printf '\n%-22s %-7s %9s %9s %22s %9s %9s %7s\n' soup command "ours s" "admesh s" \
  "ratio [min..max]" "ours MB" "admesh MB" "B/tri"
for variant in $variants; do
  for order in in-order shuffled; do
    soup="$variant-$order"
    file="$work/soups/$soup.stl"
    make_variant "$triangles" "$variant" "$order" "$file"
    soups+=("$soup")
    input_census["$soup"]=$("$edge_check" "$file")
    count=$(facets_of "$file")
    for command in info repair; do
      ours_s=() theirs_s=() ratios=() ours_kb=() theirs_kb=() failed=""
      for ((r = 1; r <= rounds; ++r)); do
        for side in ours admesh; do
          # Odd rounds run ours first, even rounds the peer first.
          if ((r % 2 == 0)); then side=$([[ $side == ours ]] && echo admesh || echo ours); fi
          if [[ $side == admesh ]] && ((!have_admesh)); then continue; fi
          log="$work/logs/$soup.$command.$side.log"
          if [[ $side == ours ]]; then
            if [[ $command == info ]]; then
              timed_run "${ours_env[@]}" "$vekmesh" info "$file"
            else
              timed_run "${ours_env[@]}" "$vekmesh" repair "$file" -o "$work/out/$soup.ours.stl"
            fi
            ((t_ok)) || failed+=" ours"
            ours_s+=("$t_sec") ours_kb+=("$t_kb")
            ours_last=$t_sec
          else
            if [[ $command == info ]]; then
              timed_run "$admesh" -e "$file"
            else
              timed_run "$admesh" -e -n -u -f -d -v -b "$work/out/$soup.admesh.stl" "$file"
            fi
            ((t_ok)) || failed+=" admesh"
            theirs_s+=("$t_sec") theirs_kb+=("$t_kb")
            theirs_last=$t_sec
          fi
        done
        if ((have_admesh)); then
          ratios+=("$(ratio_of "$ours_last" "$theirs_last")")
        fi
      done
      read -r om _ _ <<<"$(stats "${ours_s[@]}")"
      okb=$(max_of "${ours_kb[@]}")
      median_s["$soup $command ours"]=$om
      bpt=$(awk -v k="$okb" -v n="$count" 'BEGIN { printf "%.0f", k * 1024 / n }')
      if ((have_admesh)); then
        read -r tm _ _ <<<"$(stats "${theirs_s[@]}")"
        read -r rm rmin rmax <<<"$(stats "${ratios[@]}")"
        tkb=$(max_of "${theirs_kb[@]}")
        median_s["$soup $command admesh"]=$tm
        printf '%-22s %-7s %9.3f %9.3f %7.2f [%5.2f..%5.2f] %9.1f %9.1f %7s' "$soup" "$command" \
          "$om" "$tm" "$rm" "$rmin" "$rmax" "$(awk -v k="$okb" 'BEGIN { print k / 1024 }')" \
          "$(awk -v k="$tkb" 'BEGIN { print k / 1024 }')" "$bpt"
      else
        printf '%-22s %-7s %9.3f %9s %22s %9.1f %9s %7s' "$soup" "$command" "$om" - - \
          "$(awk -v k="$okb" 'BEGIN { print k / 1024 }')" - "$bpt"
      fi
      [[ -n "$failed" ]] && printf '  FAILED:%s (see %s)' "$failed" "$work/logs" && status=1
      printf '\n'
    done
  done
done

# --- order: shuffled against in-order -------------------------------------------

echo
echo "Shuffled / in-order (ratio of the median seconds above)"
printf '%-12s %-7s %8s %8s\n' variant command ours admesh
for variant in $variants; do
  for command in info repair; do
    line=$(printf '%-12s %-7s' "$variant" "$command")
    for side in ours admesh; do
      a=${median_s["$variant-shuffled $command $side"]:-}
      b=${median_s["$variant-in-order $command $side"]:-}
      if [[ -n "$a" && -n "$b" ]]; then
        line+=$(awk -v a="$a" -v b="$b" 'BEGIN { printf " %8.2f", a / b }')
      else
        line+=$(printf ' %8s' -)
      fi
    done
    echo "$line"
  done
done

# --- the repaired files, judged independently -------------------------------------

echo
echo "Soups (input) and repaired outputs, judged by edge_check (corners welded by exact bit"
echo "pattern; edges used once = open, more than twice = non-manifold, twice the same way ="
echo "mis-oriented; degenerate = faces with two corners welded together):"
printf '%-22s %-7s %9s %6s %13s %12s %11s  %s\n' soup side faces open non-manifold \
  mis-oriented degenerate "sha256 (ours)"
for soup in "${soups[@]}"; do
  # The shuffled soup holds the in-order one's triangles: equal counts, or the
  # generator or the checker depends on order.
  line=${input_census["$soup"]}
  base=${soup%-shuffled}
  twin=${input_census["${base%-in-order}-in-order"]}
  read -r _ faces _ _ _ _ _ open _ nonmf _ misor _ degen <<<"$line"
  printf '%-22s %-7s %9s %6s %13s %12s %11s' "$soup" input "$faces" "$open" "$nonmf" "$misor" \
    "$degen"
  [[ "$line" != "$twin" ]] && printf '  DIFFERS FROM IN-ORDER' && status=1
  printf '\n'
  for side in ours admesh; do
    out="$work/out/$soup.$side.stl"
    [[ $side == admesh ]] && ((!have_admesh)) && continue
    if [[ ! -f "$out" ]]; then
      printf '%-22s %-7s no output\n' "$soup" "$side"
      continue
    fi
    read -r _ faces _ _ _ _ _ open _ nonmf _ misor _ degen <<<"$("$edge_check" "$out")"
    printf '%-22s %-7s %9s %6s %13s %12s %11s' "$soup" "$side" "$faces" "$open" "$nonmf" \
      "$misor" "$degen"
    [[ $side == ours ]] && printf '  %s' "$(sha256sum "$out" | cut -c1-64)"
    printf '\n'
  done
done

# --- optional: two threads against one ------------------------------------------------

if ((thread_ratio)); then
  echo
  echo "Two threads against one, ours only: vekmesh repair as above with OMP_NUM_THREADS=1"
  echo "and =2, $rounds rounds alternating which runs first; ratio = median of per-round"
  echo "two / one [min..max]"
  printf '%-22s %10s %10s %22s\n' soup "1 thread s" "2 threads s" "ratio [min..max]"
  for soup in "${soups[@]}"; do
    one_s=() two_s=() ratios=()
    for ((r = 1; r <= rounds; ++r)); do
      teams=(1 2)
      ((r % 2 == 0)) && teams=(2 1)
      for team in "${teams[@]}"; do
        log="$work/logs/$soup.repair.threads$team.log"
        timed_run env "OMP_NUM_THREADS=$team" "$vekmesh" repair "$work/soups/$soup.stl" \
          -o "$work/out/threads.ours.stl"
        ((t_ok)) || { echo "  FAILED: $soup on $team threads (see $log)"; status=1; }
        if ((team == 1)); then one_s+=("$t_sec") one_last=$t_sec; else two_s+=("$t_sec") two_last=$t_sec; fi
      done
      ratios+=("$(ratio_of "$two_last" "$one_last")")
    done
    read -r om tm rm rmin rmax <<<"$(paired_summary one_s two_s ratios)"
    printf '%-22s %10.3f %10.3f %7.2f [%5.2f..%5.2f]\n' "$soup" "$om" "$tm" "$rm" "$rmin" "$rmax"
  done
  rm -f "$work/out/threads.ours.stl"
fi

# --- optional: order sensitivity at a larger size ------------------------------------

if [[ -n "$order_triangles" ]]; then
  echo
  echo "Order sensitivity at about $order_triangles triangles, ours only (whole process as above;"
  echo "$rounds rounds alternating which order runs first; ratio = median of per-round"
  echo "shuffled / in-order [min..max])"
  printf '%-12s %-7s %10s %10s %22s\n' variant command "in-order s" "shuffled s" "ratio [min..max]"
  for variant in $variants; do
    for order in in-order shuffled; do
      make_variant "$order_triangles" "$variant" "$order" "$work/soups/large-$variant-$order.stl"
    done
    for command in info repair; do
      in_s=() sh_s=() ratios=()
      for ((r = 1; r <= rounds; ++r)); do
        orders=(in-order shuffled)
        ((r % 2 == 0)) && orders=(shuffled in-order)
        for order in "${orders[@]}"; do
          file="$work/soups/large-$variant-$order.stl"
          log="$work/logs/large-$variant-$order.$command.log"
          if [[ $command == info ]]; then
            timed_run "${ours_env[@]}" "$vekmesh" info "$file"
          else
            timed_run "${ours_env[@]}" "$vekmesh" repair "$file" -o "$work/out/large.ours.stl"
          fi
          ((t_ok)) || { echo "  FAILED: $variant $order $command (see $log)"; status=1; }
          if [[ $order == in-order ]]; then in_s+=("$t_sec") in_last=$t_sec; else sh_s+=("$t_sec") sh_last=$t_sec; fi
        done
        ratios+=("$(ratio_of "$sh_last" "$in_last")")
      done
      read -r im sm rm rmin rmax <<<"$(paired_summary in_s sh_s ratios)"
      printf '%-12s %-7s %10.3f %10.3f %7.2f [%5.2f..%5.2f]\n' "$variant" "$command" "$im" "$sm" \
        "$rm" "$rmin" "$rmax"
    done
    # These are large; keep only the main size's soups in the work directory.
    rm -f "$work/soups/large-$variant-"*.stl "$work/out/large.ours.stl"
  done
fi
exit "$status"
