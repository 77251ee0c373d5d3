#!/usr/bin/env bash
# Times Zerlan in each search mode on the benchmark genomes and on synthetic
# satellite arrays, on one thread and on the default number of threads, next
# to Debian's trf and tantan on the same files, and prints wall time,
# throughput and peak memory per tool and data set. The minisatellite arrays
# (mini64-*, alpha-*) are searched with units up to 200. Then the growth
# with the unit range: the default search of E. coli on one thread with
# -U 10, 20, 50, 100, 200 and 500, next to trf.
#   bash bench/run.sh [path/to/zerlan]        (default: build/zerlan)
# ZERLAN_BENCH_SETS restricts the data sets (default: all of
#   ecoli umaydis chr22-human-blocks attcc-100k attcc-200k attcc-1m
#   ac7-100k ac7-200k ac7-1m mini64-200k mini64-1m alpha-200k alpha-1m);
# ZERLAN_BENCH_UNITS gives the unit ranges of the growth table (default
#   "10 20 50 100 200 500"; empty leaves the table out);
# ZERLAN_BENCH_TIMEOUT (seconds, default 600) bounds each run;
# ZERLAN_BENCH_RUNS (default 3): each figure is the median of this many runs;
# ZERLAN_BENCH_CACHE says where fetch-data.sh keeps the genomes.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
zerlan=$(realpath -m "${1:-$here/../build/zerlan}")
cache=${ZERLAN_BENCH_CACHE:-$HOME/.cache/zerlan-bench}
export ZERLAN_BENCH_CACHE=$cache
sets=${ZERLAN_BENCH_SETS-ecoli umaydis chr22-human-blocks attcc-100k attcc-200k attcc-1m ac7-100k ac7-200k ac7-1m mini64-200k mini64-1m alpha-200k alpha-1m}
units=${ZERLAN_BENCH_UNITS-10 20 50 100 200 500}
limit=${ZERLAN_BENCH_TIMEOUT:-600}
runs=${ZERLAN_BENCH_RUNS:-3}

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

# The synthetic arrays (see make_arrays.cpp) are made once into the cache.
source "$here/arrays.sh"
for set in $sets; do
  case $set in
    attcc-* | ac7-* | mini64-* | alpha-*) array_file "$set" >/dev/null ;;
  esac
done
threads=$(nproc)

# Runs one command inside the scratch directory (trf writes its files into
# the current directory), standard output to $work/out, standard error to
# $work/err. Prints "ok seconds peak_kb", or "timed-out", or "failed N".
# trf's exit status is no success flag (it is 253 after a good run), so trf
# counts as failed only when it printed nothing. The time is that of
# /usr/bin/time, which leaves out the start of its own process.
measure_once() { # tool command...
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

# The run of median time of $runs runs (a run that times out or fails ends
# the series with that outcome), as measure_once prints it.
measure() { # tool command...
  local results=() result
  for ((r = 0; r < runs; ++r)); do
    result=$(measure_once "$@")
    [[ $result == ok* ]] || { echo "$result"; return; }
    results+=("$result")
  done
  printf '%s\n' "${results[@]}" | sort -k2,2n | sed -n "$(((runs + 1) / 2))p"
}

line() { printf '%-19s %-19s %6s | %8s %8s %8s %7s | %8s %8s %8s %7s\n' "$@"; }
echo "Zerlan: one thread, then the default number of threads ($threads here)."
# The bounds run in vector lanes of 512 bits where the processor has them,
# else of 256 bits: figures from the two kinds of processor do not compare.
if grep -qw avx512bw /proc/cpuinfo; then lanes=512; elif grep -qw avx2 /proc/cpuinfo; then lanes=256; else lanes=none; fi
echo "Processor: $(nproc) threads, vector lanes: $lanes bits."
line data-set tool Mb seconds Mb/s peak-MiB vs-trf seconds Mb/s peak-MiB vs-trf
for set in $sets; do
  fa="$cache/$set.fa"
  [ -s "$fa" ] || fa="$cache/arrays/$set.fa"
  if [ ! -s "$fa" ]; then
    printf '%-20s no such data set (%s)\n' "$set" "$fa"
    continue
  fi
  # tantan stops at gap characters; it gets the ungapped copy where there is one.
  plain="$cache/$set.nogap.fa"
  [ -s "$plain" ] || plain=$fa
  mb=$(awk '!/^>/ { gsub(/-/, ""); n += length($0) } END { printf "%.2f", n / 1e6 }' "$fa")
  trf_seconds=""
  # Minisatellite arrays are searched for units up to 200.
  options=()
  case $set in mini64-* | alpha-*) options=(-U 200) ;; esac
  for tool in trf tantan zerlan-imperfect zerlan-extendExact zerlan-exact; do
    case $tool in
      trf) program=trf ;;
      tantan) program=tantan ;;
      zerlan-*) program=$zerlan ;;
    esac
    if ! command -v "$program" >/dev/null; then
      line "$set" "$tool" "$mb" missing - - - - - - -
      continue
    fi
    cells=()
    for t in 1 default; do
      if [[ $tool != zerlan-* && $t == default ]]; then
        cells+=(- - - -)
        continue
      fi
      case $tool in
        trf) result=$(measure trf trf "$fa" 2 7 7 80 10 50 500 -h -ngs) ;;
        tantan) result=$(measure tantan tantan "$plain") ;;
        zerlan-*)
          if [ "$t" = 1 ]; then
            result=$(ZERLAN_THREADS=1 measure zerlan "$zerlan" -M "${tool#zerlan-}" ${options[@]+"${options[@]}"} "$fa" "$work/run/report")
          else
            result=$(measure zerlan "$zerlan" -M "${tool#zerlan-}" ${options[@]+"${options[@]}"} "$fa" "$work/run/report")
          fi
          ;;
      esac
      read -r state seconds kb <<<"$result"
      case $state in
        timed-out) cells+=(">${limit}" - - timeout); continue ;;
        failed) cells+=(failed - - "exit=$seconds"); continue ;;
      esac
      [ "$tool" = trf ] && trf_seconds=$seconds
      ratio=-
      if [[ $tool == zerlan-* && -n $trf_seconds ]]; then
        ratio=$(awk -v t="$trf_seconds" -v z="$seconds" 'BEGIN { if (z > 0) printf "%.2fx", t / z; else print "-" }')
      fi
      speed=$(awk -v mb="$mb" -v s="$seconds" 'BEGIN { if (s > 0) printf "%.2f", mb / s; else print "-" }')
      peak=$(awk -v kb="$kb" 'BEGIN { printf "%.1f", kb / 1024 }')
      cells+=("$seconds" "$speed" "$peak" "$ratio")
    done
    line "$set" "$tool" "$mb" "${cells[@]}"
  done
done
echo "Mb: residues without gap characters. vs-trf: trf's time divided by Zerlan's; above 1 means Zerlan is faster."

# Growth with the unit range, on one thread.
[ -n "$units" ] || exit 0
fa=$cache/ecoli.fa
echo
echo "E. coli, default search on one thread, by maximum unit length (-U); trf with periods up to 500."
printf '%-12s %8s %9s %8s\n' run seconds peak-MiB vs-trf
read -r state trf_seconds kb <<<"$(measure trf trf "$fa" 2 7 7 80 10 50 500 -h -ngs)"
if [ "$state" = ok ]; then
  printf '%-12s %8s %9.1f %8s\n' trf "$trf_seconds" "$(awk -v kb="$kb" 'BEGIN { print kb / 1024 }')" -
else
  trf_seconds=""
  printf '%-12s %8s\n' trf "$state"
fi
for U in $units; do
  read -r state seconds kb <<<"$(ZERLAN_THREADS=1 measure zerlan "$zerlan" -U "$U" "$fa" "$work/run/report")"
  case $state in
    timed-out) printf '%-12s %8s\n' "-U $U" ">$limit" ;;
    failed) printf '%-12s %8s\n' "-U $U" "exit=$seconds" ;;
    *)
      ratio=$(awk -v t="$trf_seconds" -v z="$seconds" 'BEGIN { if (t != "" && z > 0) printf "%.2fx", t / z; else print "-" }')
      printf '%-12s %8s %9.1f %8s\n' "-U $U" "$seconds" "$(awk -v kb="$kb" 'BEGIN { print kb / 1024 }')" "$ratio"
      ;;
  esac
done
