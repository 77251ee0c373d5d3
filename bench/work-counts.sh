#!/usr/bin/env bash
# Counts the work of the complete imperfect search, by range of unit
# lengths: the seeds, those let through by the record's alignment with
# itself, those tried (free in the marks), extended (let through by the
# seed filter) and accepted, the look-ahead's branch points and the
# residues the extensions walked, and how much of those two went to the
# accepted seeds. Their records are in the output, so their extensions are
# the work that no bound can save: the last two columns give that floor's
# share. Builds the working tree with ZERLAN_WORK_COUNTS into the cache and
# runs it on one thread.
#   bash bench/work-counts.sh [SET:UNITS ...]
# (default: ecoli:500 mini64-200k:200); a SET is a genome of fetch-data.sh
# or an array of make_arrays.cpp, as in run.sh.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/.." && pwd)
cache=${ZERLAN_BENCH_CACHE:-$HOME/.cache/zerlan-bench}
export ZERLAN_BENCH_CACHE=$cache
runs=("$@")
[ ${#runs[@]} -gt 0 ] || runs=(ecoli:500 mini64-200k:200)

bash "$here/fetch-data.sh" >/dev/null
build=$cache/work-counts-build
cmake -S "$repo" -B "$build" -DCMAKE_BUILD_TYPE=Release -DZERLAN_TESTS=OFF -DZERLAN_WORK_COUNTS=ON >/dev/null
cmake --build "$build" -j "$(nproc)" --target zerlan >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source "$here/arrays.sh"
for run in "${runs[@]}"; do
  set=${run%%:*}
  units=${run#*:}
  fa=$cache/$set.fa
  [ -s "$fa" ] || fa=$(array_file "$set")
  echo "== $set, -U $units, one thread"
  ZERLAN_THREADS=1 "$build/zerlan" -U "$units" "$fa" "$work/report" 2>"$work/err" >/dev/null
  # The table, with the accepted seeds' shares of the look-ahead and walk.
  sed -n '/^work counts$/,$p' "$work/err" | tail -n +2 | awk -F'\t' '
    NR == 1 { print $0 "\tfloor-look-ahead\tfloor-walked"; next }
    { la = $7 ? sprintf("%.1f%%", 100 * $9 / $7) : "-"; w = $8 ? sprintf("%.1f%%", 100 * $10 / $8) : "-"
      print $0 "\t" la "\t" w }' | column -t -s $'\t'
done
