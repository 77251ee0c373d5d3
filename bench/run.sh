#!/usr/bin/env bash
# Times Zerlan in each search mode on the benchmark genomes, next to Debian's
# trf and tantan on the same files, and prints wall time, throughput and
# peak memory per tool and data set.
#   bash bench/run.sh [path/to/zerlan]        (default: build/zerlan)
# ZERLAN_BENCH_SETS="ecoli umaydis chr22-human-blocks" restricts the data
# sets; ZERLAN_BENCH_TIMEOUT (seconds, default 1800) bounds each run;
# ZERLAN_BENCH_CACHE says where fetch-data.sh keeps the genomes.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
zerlan=$(realpath -m "${1:-$here/../build/zerlan}")
cache=${ZERLAN_BENCH_CACHE:-$HOME/.cache/zerlan-bench}
export ZERLAN_BENCH_CACHE=$cache
sets=${ZERLAN_BENCH_SETS:-ecoli umaydis chr22-human-blocks}
limit=${ZERLAN_BENCH_TIMEOUT:-1800}

bash "$here/fetch-data.sh" >/dev/null

need=()
command -v trf >/dev/null || need+=(trf)
command -v tantan >/dev/null || need+=(tantan)
[ -x /usr/bin/time ] || need+=(time)
if [ ${#need[@]} -gt 0 ]; then
  { apt-get update -qq && apt-get install -y -qq "${need[@]}"; } >/dev/null 2>&1 ||
    echo "could not install ${need[*]}; going on without" >&2
fi
[ -x /usr/bin/time ] || { echo "/usr/bin/time is needed" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Runs one command inside the scratch directory (trf writes its files into
# the current directory), standard output to $work/out, standard error to
# $work/err. Prints "ok seconds peak_kb", or "timed-out", or "failed N".
# trf's exit status is no success flag (it is 253 after a good run), so trf
# counts as failed only when it printed nothing.
measure() { # tool command...
  local tool=$1 status=0
  shift
  rm -rf "${work:?}"/run && mkdir "$work/run"
  (cd "$work/run" && /usr/bin/time -f '%e %M' -o "$work/time" \
    timeout "$limit" "$@" >"$work/out" 2>"$work/err") || status=$?
  if [ "$status" -eq 124 ]; then
    echo timed-out
  elif [ "$tool" = trf ] && [ -s "$work/out" ]; then
    echo ok "$(tail -n 1 "$work/time")"
  elif [ "$tool" != trf ] && [ "$status" -eq 0 ]; then
    echo ok "$(tail -n 1 "$work/time")"
  else
    echo failed "$status"
  fi
}

line() { printf '%-20s %-19s %8s %9s %8s %9s %8s\n' "$@"; }
line data-set tool Mb seconds Mb/s peak-MiB vs-trf
for set in $sets; do
  fa="$cache/$set.fa"
  if [ ! -s "$fa" ]; then
    printf '%-20s no such data set (%s)\n' "$set" "$fa"
    continue
  fi
  # tantan stops at gap characters; it gets the ungapped copy where there is one.
  plain="$cache/$set.nogap.fa"
  [ -s "$plain" ] || plain=$fa
  mb=$(awk '!/^>/ { gsub(/-/, ""); n += length($0) } END { printf "%.2f", n / 1e6 }' "$fa")
  trf_seconds=""
  for tool in trf tantan zerlan-imperfect zerlan-extendExact zerlan-exact; do
    case $tool in
      trf) program=trf ;;
      tantan) program=tantan ;;
      zerlan-*) program=$zerlan ;;
    esac
    if ! command -v "$program" >/dev/null; then
      line "$set" "$tool" "$mb" missing - - -
      continue
    fi
    case $tool in
      trf) result=$(measure trf trf "$fa" 2 7 7 80 10 50 500 -h -ngs) ;;
      tantan) result=$(measure tantan tantan "$plain") ;;
      zerlan-*) result=$(measure zerlan "$zerlan" -M "${tool#zerlan-}" "$fa" "$work/run/report") ;;
    esac
    read -r state seconds kb <<<"$result"
    case $state in
      timed-out) line "$set" "$tool" "$mb" ">${limit}" - - timeout; continue ;;
      failed) line "$set" "$tool" "$mb" failed - - "exit=$seconds"; continue ;;
    esac
    [ "$tool" = trf ] && trf_seconds=$seconds
    ratio=-
    if [[ $tool == zerlan-* && -n $trf_seconds ]]; then
      ratio=$(awk -v t="$trf_seconds" -v z="$seconds" 'BEGIN { if (z > 0) printf "%.2fx", t / z; else print "-" }')
    fi
    speed=$(awk -v mb="$mb" -v s="$seconds" 'BEGIN { if (s > 0) printf "%.2f", mb / s; else print "-" }')
    peak=$(awk -v kb="$kb" 'BEGIN { printf "%.1f", kb / 1024 }')
    line "$set" "$tool" "$mb" "$seconds" "$speed" "$peak" "$ratio"
  done
done
echo "Mb: residues without gap characters. vs-trf: trf's time divided by Zerlan's; above 1 means Zerlan is faster."
