#!/usr/bin/env bash
# Checks that a change left every output byte as it was: builds revision REV
# of this repository in a scratch folder, runs that build and the working
# tree's build (build/zerlan, built here if missing) on the benchmark genomes
# and the synthetic satellite arrays in all three search modes and with
# further option sets, and compares reports, masked files and standard error
# byte for byte. Long units are compared on slices of the genomes (-U 30 and
# -U 100, all three modes) and on minisatellite arrays (-U 200). Prints one
# line per pair, "identical" or "DIFFERENT", and exits 1 if any pair differs.
#   bash bench/compare.sh REV [path/to/new/zerlan]
# ZERLAN_COMPARE_QUICK=1 uses only the first 2 Mb of each genome.
# ZERLAN_COMPARE_THREADS="1 3" also runs the new build with these thread
# counts (default: the default thread count and 1).
# Standard error is compared with the clock masked and without the progress
# lines that a search writes once a minute (their number depends on speed);
# the line each record starts with is kept.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/.." && pwd)
rev=${1:?usage: bench/compare.sh REV [path/to/new/zerlan]}
new=$(realpath -m "${2:-$repo/build/zerlan}")
cache=${ZERLAN_BENCH_CACHE:-$HOME/.cache/zerlan-bench}
export ZERLAN_BENCH_CACHE=$cache
thread_counts=${ZERLAN_COMPARE_THREADS:-default 1}

bash "$here/fetch-data.sh" >/dev/null
[ -x "$new" ] || bash "$repo/scripts/build" >/dev/null

# The old build, kept per commit so that repeated comparisons build once.
hash=$(git -C "$repo" rev-parse --verify "$rev^{commit}")
old=$cache/builds/$hash/zerlan
if [ ! -x "$old" ]; then
  src=$cache/builds/$hash/src
  rm -rf "$src" && mkdir -p "$src"
  git -C "$repo" archive "$hash" | tar -x -C "$src"
  cmake -S "$src" -B "$src/build" -DCMAKE_BUILD_TYPE=Release -DZERLAN_TESTS=OFF >/dev/null
  cmake --build "$src/build" -j "$(nproc)" --target zerlan >/dev/null
  cp "$src/build/zerlan" "$old"
  rm -rf "$src"
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Inputs: the genomes (or their first 2 Mb) and the synthetic arrays.
g++ -O2 -o "$work/make_arrays" "$here/make_arrays.cpp"
mkdir -p "$work/in"
for set in ecoli umaydis chr22-human-blocks; do
  if [ "${ZERLAN_COMPARE_QUICK:-0}" = 1 ]; then
    head -c 2000000 "$cache/$set.fa" >"$work/in/$set.fa"
  else
    ln -s "$cache/$set.fa" "$work/in/$set.fa"
  fi
done
"$work/make_arrays" attcc 40000 >"$work/in/attcc-40k.fa"
"$work/make_arrays" ac7 10000 >"$work/in/ac7-10k.fa"
"$work/make_arrays" mini64 10000 >"$work/in/mini64-10k.fa"
"$work/make_arrays" alpha 10000 >"$work/in/alpha-10k.fa"
# Slices for long units, whose search is slow in older builds: the first
# 60 kb of each genome (as 80-residue lines), and 20 kb from the middle.
for set in ecoli umaydis chr22-human-blocks; do
  for slice in 1:60000:60k 1000001:20000:20k; do
    IFS=: read -r from length name <<<"$slice"
    awk -v set="$set" -v from="$from" -v length_="$length" '!/^>/ { gsub(/-/, ""); s = s $0 }
      length(s) >= from + length_ { exit }
      END { print ">" set; for (i = from; i < from + length_; i += 80) print substr(s, i, 80) }' \
      "$cache/$set.fa" >"$work/in/$set-$name.fa"
  done
done

# Runs one build on one input with options; the input is linked into a
# folder of the run's own, so that the masked copy is written there.
run() { # label binary threads input options...
  local label=$1 binary=$2 threads=$3 input=$4 dir status=0
  shift 4
  dir=$work/$label
  mkdir -p "$dir"
  ln -sf "$work/in/$input" "$dir/$input"
  if [ "$threads" = default ]; then
    (cd "$dir" && "$binary" "$@" "$input" report >stdout 2>stderr) || status=$?
  else
    (cd "$dir" && ZERLAN_THREADS=$threads "$binary" "$@" "$input" report >stdout 2>stderr) || status=$?
  fi
  echo "$status" >"$dir/status"
  # Clock masked; of the progress lines only the first of each record kept.
  sed -E 's/^[0-9]+\.[0-9]{2}\.[0-9]{2} - #/TIME - #/' "$dir/stderr" |
    awk '/^TIME - # / { if ($4 == last) next; last = $4 } { print }' >"$dir/stderr.masked"
  rm -f "$dir/stderr" "$dir/$input"
}

differing=0
compare() { # input options...
  local input=$1 name threads a b f verdict
  shift
  name="$input ${*:-(defaults)}"
  a=$(echo "old $name" | md5sum | cut -c1-12)
  run "$a" "$old" default "$input" "$@"
  for threads in $thread_counts; do
    b=$(echo "new $threads $name" | md5sum | cut -c1-12)
    run "$b" "$new" "$threads" "$input" "$@"
    verdict=identical
    for f in report stdout stderr.masked status "$input.masked"; do
      if [ -e "$work/$a/$f" ] || [ -e "$work/$b/$f" ]; then
        cmp -s "$work/$a/$f" "$work/$b/$f" || verdict="DIFFERENT ($f)"
      fi
    done
    [ "$verdict" = identical ] || differing=$((differing + 1))
    printf '%-10s threads=%-8s %s\n' "$verdict" "$threads" "$name"
    rm -rf "${work:?}/$b"
  done
  rm -rf "${work:?}/$a"
}

echo "old: $rev ($hash)"
echo "new: $new"
for input in ecoli.fa umaydis.fa chr22-human-blocks.fa attcc-40k.fa ac7-10k.fa; do
  for mode in imperfect extendExact exact; do
    compare "$input" -M "$mode"
  done
done
for input in ecoli.fa chr22-human-blocks.fa attcc-40k.fa; do
  compare "$input" --outputFormat 1 --printRepeatSeqMode 1 -f 20 --maskLower
  compare "$input" --outputFormat 2 -U 20 --maskX
  compare "$input" --outputFormat 3 -R 10 -M extendExact
  compare "$input" --outputFormat 4 -u 2 -D --preferShorterRepeats -r 3
  compare "$input" --reportUnit 2 --NPerfectionMode 1 --minPerfection 80 --NsAsMissense -N 0 -M exact -s 10
  compare "$input" --reportUnit 1 -m -3 -g -7 --maxPerfection 95 -U 6 -u 3 -R 30
done
for set in ecoli umaydis chr22-human-blocks; do
  for mode in imperfect extendExact exact; do
    compare "$set-60k.fa" -M "$mode" -U 30
    compare "$set-20k.fa" -M "$mode" -U 100
  done
done
for input in mini64-10k.fa alpha-10k.fa; do
  for mode in imperfect extendExact exact; do
    compare "$input" -M "$mode" -U 200
  done
done
if [ "$differing" -eq 0 ]; then
  echo "all outputs identical"
else
  echo "$differing pairs differ"
  exit 1
fi
