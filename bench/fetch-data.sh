#!/usr/bin/env bash
# Fetches the benchmark genomes from Debian's example packages into a cache
# outside the repository and prints their sizes. Nothing here is committed.
#   ecoli.fa                E. coli K-12 MG1655 (ragout-examples)
#   umaydis.fa              the fungal genome Umaydis (maffilter-examples)
#   chr22-human-blocks.fa   the human rows of the chromosome 22 alignment
#                           blocks (maffilter-examples), one record per block
set -euo pipefail
cache=${ZERLAN_BENCH_CACHE:-$HOME/.cache/zerlan-bench}
mkdir -p "$cache"
cd "$cache"

unpack() { # package
  if [ ! -d "pkg-$1" ]; then
    apt-get download "$1" >/dev/null 2>&1 || { apt-get update -qq && apt-get download "$1"; }
    dpkg-deb -x "$1"_*.deb "pkg-$1"
  fi
}

if [ ! -s ecoli.fa ]; then
  unpack ragout-examples
  gunzip -c pkg-ragout-examples/usr/share/doc/ragout/examples/E.Coli/references/MG1655-K12.fasta.gz > ecoli.fa
fi
if [ ! -s umaydis.fa ] || [ ! -s chr22-human-blocks.fa ]; then
  unpack maffilter-examples
  gunzip -c pkg-maffilter-examples/usr/share/doc/maffilter/examples/Umaydis/Umaydis.fasta.gz > umaydis.fa
  # MAF "s" rows: s src start size strand srcSize text. The alignment gaps
  # are taken out, so that every tool reads the same plain sequence.
  for maf in pkg-maffilter-examples/usr/share/doc/maffilter/examples/*/*.chr22.*.maf.gz; do
    gunzip -c "$maf"
  done | awk '$1 == "s" && $2 ~ /^(Hsap|hg[0-9]*|homo_sapiens)([.]|$)/ {
      n++; gsub(/-/, "", $7); printf ">%s_%s_%d\n", $2, $3, n
      for (i = 1; i <= length($7); i += 80) print substr($7, i, 80) }' > chr22-human-blocks.fa
fi
for f in ecoli.fa umaydis.fa chr22-human-blocks.fa; do
  printf '%-24s %12d bytes %8d records\n' "$f" "$(stat -c %s "$f")" "$(grep -c '^>' "$f")"
done
