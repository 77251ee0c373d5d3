#!/usr/bin/env bash
# Fetches the benchmark genomes from Debian's example packages into a cache
# outside the repository and prints their sizes. Nothing here is committed.
#   ecoli.fa                E. coli K-12 MG1655 (ragout-examples)
#   umaydis.fa              the fungal genome Umaydis (maffilter-examples)
#   chr22-human-blocks.fa   the human rows of the chromosome 22 alignment
#                           blocks (maffilter-examples), one record per block
#   chr22-human-blocks.nogap.fa   the same without gap characters, for tools
#                           that refuse them (tantan stops at a '-')
# Files already in the cache are kept; delete one to have it made again.
#   bash bench/fetch-data.sh        (cache: $ZERLAN_BENCH_CACHE or ~/.cache/zerlan-bench)
set -euo pipefail
cache=${ZERLAN_BENCH_CACHE:-$HOME/.cache/zerlan-bench}
mkdir -p "$cache"
cd "$cache"

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# Downloads one package's .deb into the cache (once) and unpacks it into the
# scratch directory; prints where its example files are.
unpack() { # package
  local debs
  debs=("$1"_*.deb)
  if [ ! -f "${debs[0]}" ]; then
    # apt-get warns when it downloads as root into a directory _apt can't
    # write; the download still works.
    apt-get download "$1" >/dev/null 2>&1 || { apt-get update -qq && apt-get download "$1" >/dev/null 2>&1; }
    debs=("$1"_*.deb)
  fi
  if [ ! -d "$tmp/$1" ]; then
    dpkg-deb -x "${debs[0]}" "$tmp/$1"
  fi
  echo "$tmp/$1/usr/share/doc"
}

# Each file is written under a temporary name first so that an interrupted
# run never leaves a truncated file that later runs would take as done.
if [ ! -s ecoli.fa ]; then
  doc=$(unpack ragout-examples)
  gunzip -c "$doc/ragout/examples/E.Coli/references/MG1655-K12.fasta.gz" > ecoli.fa.part
  mv ecoli.fa.part ecoli.fa
fi

if [ ! -s umaydis.fa ]; then
  doc=$(unpack maffilter-examples)
  gunzip -c "$doc/maffilter/examples/Umaydis/Umaydis.fasta.gz" > umaydis.fa.part
  mv umaydis.fa.part umaydis.fa
fi

if [ ! -s chr22-human-blocks.fa ]; then
  doc=$(unpack maffilter-examples)
  # MAF "s" rows: s src start size strand srcSize text. The species are
  # named Hsap, Ptro, Ggor, Ppyg (e.g. "s Hsap.22 17443628 4489 + ...");
  # other MAF files use hg19.chr22 or homo_sapiens.22, so all are accepted.
  # Gap characters '-' are kept (about 101,000 of them, 0.5% of the rows):
  # Zerlan drops them itself while reading, so its coordinates are those of
  # the ungapped sequence. trf and tantan read them as ordinary letters.
  for maf in "$doc"/maffilter/examples/*/*.chr22.*.maf.gz; do
    gunzip -c "$maf"
  done | awk '$1 == "s" && $2 ~ /^(Hsap|hg[0-9]*|homo_sapiens)([.]|$)/ {
      n++; printf ">%s_%s_%d\n", $2, $3, n
      for (i = 1; i <= length($7); i += 80) print substr($7, i, 80) }' > chr22-human-blocks.fa.part
  [ -s chr22-human-blocks.fa.part ] || { echo "no human rows found in the chr22 alignment" >&2; exit 1; }
  mv chr22-human-blocks.fa.part chr22-human-blocks.fa
fi
if [ ! -s chr22-human-blocks.nogap.fa ]; then
  sed '/^>/!s/-//g' chr22-human-blocks.fa > chr22-human-blocks.nogap.fa.part
  mv chr22-human-blocks.nogap.fa.part chr22-human-blocks.nogap.fa
fi

for f in ecoli.fa umaydis.fa chr22-human-blocks.fa chr22-human-blocks.nogap.fa; do
  printf '%-30s %12d bytes %8d records %12d residues\n' "$f" "$(stat -c %s "$f")" \
    "$(grep -c '^>' "$f")" "$(grep -v '^>' "$f" | tr -d '\n-' | wc -c)"
done
echo "cache: $cache"
