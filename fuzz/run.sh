#!/usr/bin/env bash
# Fuzzes each target for a given time (default 60 s each), starting from the
# committed seed corpus. New crash inputs land in fuzz/findings/.
#   bash fuzz/run.sh [seconds] [reader|run ...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(reader run)

command -v clang++ >/dev/null || apt-get install -y -qq clang libclang-rt-14-dev
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZERLAN_FUZZ=ON >/dev/null
cmake --build build-fuzz -j "$(nproc)" --target "${targets[@]/#/fuzz_}"

mkdir -p fuzz/findings
for t in "${targets[@]}"; do
  work=$(mktemp -d)
  cp fuzz/corpus/"$t"/* "$work"/ 2>/dev/null || true
  echo "== fuzz_$t for $seconds s"
  ASAN_OPTIONS=detect_leaks=1 ./build-fuzz/fuzz/fuzz_"$t" "$work" fuzz/corpus/"$t" \
    -max_total_time="$seconds" -timeout=20 -rss_limit_mb=4096 -max_len=20000 \
    -close_fd_mask=3 -artifact_prefix=fuzz/findings/"$t"- -print_final_stats=1 2>&1 | tail -n 15
  rm -rf "$work"
done
