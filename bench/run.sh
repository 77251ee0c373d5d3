#!/usr/bin/env bash
# Times Zerlan in each search mode on the benchmark genomes, next to Debian's
# trf and tantan on the same files, and prints wall time, throughput and
# peak memory per tool and data set.
#   bash bench/run.sh [path/to/zerlan]
# ZERLAN_BENCH_SETS="ecoli umaydis chr22-human-blocks" restricts the data
# sets; ZERLAN_BENCH_TIMEOUT (seconds, default 1800) bounds each run.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
zerlan=$(realpath "${1:-$here/../build/zerlan}")
cache=${ZERLAN_BENCH_CACHE:-$HOME/.cache/zerlan-bench}
sets=${ZERLAN_BENCH_SETS:-ecoli umaydis chr22-human-blocks}
limit=${ZERLAN_BENCH_TIMEOUT:-1800}

bash "$here/fetch-data.sh" >/dev/null
need=()
command -v trf >/dev/null || need+=(trf)
command -v tantan >/dev/null || need+=(tantan)
[ -x /usr/bin/time ] || need+=(time)
[ ${#need[@]} -eq 0 ] || apt-get install -y -qq "${need[@]}" >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Runs one command in the scratch directory; prints "seconds peak_kb", or
# "failed" when it timed out or wrote nothing. Exit statuses are not
# compared: trf's is not a success flag.
measure() {
  local status=0
  (cd "$work" && /usr/bin/time -f '%e %M' -o "$work/time" timeout "$limit" "$@" >"$work/out" 2>/dev/null) || status=$?
  if [ "$status" -eq 124 ] || [ ! -s "$work/out" ]; then
    echo failed
  else
    tail -n 1 "$work/time"
  fi
}

printf '%-20s %-18s %8s %9s %8s %9s %9s\n' data-set tool Mb seconds Mb/s peak-MiB vs-trf
for set in $sets; do
  fa="$cache/$set.fa"
  mb=$(awk '!/^>/ { n += length($0) } END { printf "%.2f", n / 1e6 }' "$fa")
  trf_seconds=""
  rows=()
  for tool in trf tantan zerlan-exact zerlan-extendExact zerlan-imperfect; do
    case $tool in
      trf) result=$(measure trf "$fa" 2 7 7 80 10 50 500 -h -ngs) ;;
      tantan) result=$(measure tantan "$fa") ;;
      zerlan-*) result=$(measure "$zerlan" -M "${tool#zerlan-}" "$fa") ;;
    esac
    if [ "$result" = failed ]; then
      printf '%-20s %-18s %8s %9s\n' "$set" "$tool" "$mb" failed
      continue
    fi
    read -r seconds kb <<<"$result"
    [ "$tool" = trf ] && trf_seconds=$seconds
    ratio=-
    if [[ $tool == zerlan-* && -n $trf_seconds ]]; then
      ratio=$(awk -v t="$trf_seconds" -v z="$seconds" 'BEGIN { printf "%.2fx", (z > 0 ? t / z : 0) }')
    fi
    awk -v s="$set" -v t="$tool" -v mb="$mb" -v sec="$seconds" -v kb="$kb" -v r="$ratio" 'BEGIN {
      printf "%-20s %-18s %8s %9.2f %8.2f %9.1f %9s\n", s, t, mb, sec, (sec > 0 ? mb / sec : 0), kb / 1024, r }'
  done
done
echo "vs-trf: trf's time divided by Zerlan's; above 1 means Zerlan is faster."
