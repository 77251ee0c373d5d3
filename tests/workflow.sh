#!/bin/bash
# The Snakemake workflow on a small collection of genomes:
# - each genome's reports are the bytes of a direct zerlan run with the same
#   options, and zerlan sees the job's threads in ZERLAN_THREADS;
# - each genome's catalogs are those of zerlan-convert on its one-per-line
#   report, and all-genomes.bed.gz holds all BEDs with the records named
#   GENOME#RECORD, indexed for tabix;
# - the table of all genomes holds one header and the rows of every
#   one-per-line report, each headed by its genome's name;
# - a second run does nothing; a new genome costs one scan and the merge;
# - a genome that is not FASTA fails the run with zerlan's status 231 and
#   leaves neither its reports nor a table of all genomes.
# Needs ZERLAN and ZERLAN_CONVERT (the binaries) and SNAKEFILE
# (workflow/Snakefile) in the environment.
set -euo pipefail

: "${ZERLAN:?set ZERLAN to the zerlan binary}"
: "${SNAKEFILE:?set SNAKEFILE to workflow/Snakefile}"
: "${ZERLAN_CONVERT:?set ZERLAN_CONVERT to the zerlan-convert binary}"

fail() {
  echo "FAIL: $*" >&2
  exit 1
}
command -v snakemake > /dev/null || fail "snakemake is not installed (apt-get install snakemake)"
command -v tabix > /dev/null || fail "tabix is not installed (apt-get install tabix)"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir in

# A genome of two records holding eight copies of UNIT between unrelated flanks.
genome() {
  local copies
  copies=$(printf "$2%.0s" 1 2 3 4 5 6 7 8)
  printf '>%s_1\nGGCTTAGCAT%sCGATTGCAAG\n>%s_2 second record\nTGCATCGGAT\n%sTCCAGTTGCA\n' \
    "$1" "$copies" "$1" "$copies"
}
genome a CA > in/a.fa
genome b AGAT > in/b.fa
genome c AAT | gzip > in/c.fa.gz

# zerlan behind a wrapper that notes the thread count it was given.
printf '#!/bin/sh\necho "$ZERLAN_THREADS" >> %s/threads\nexec %s "$@"\n' "$work" "$ZERLAN" > zerlan
chmod +x zerlan
options="--minUnitLen 2 --flanking 3"
cat > config.yaml << EOF
genomes: ["in/*.fa", "in/c.fa.gz"]
zerlan: $work/zerlan
zerlan_convert: $ZERLAN_CONVERT
catalogs: [trgt, gff3, simplerepeat]
options: "$options"
format: 1
threads: 2
outdir: out
EOF

run() {
  snakemake -s "$SNAKEFILE" --cores 2 --configfile config.yaml "$@" > log 2>&1
}
run || fail "the first run failed: $(cat log)"

mkdir direct
for g in a b c; do
  input=$(ls in/$g.*)
  # The one-per-line report carries the record lengths for the GFF3.
  for report in "1:txt" "3:tsv:--sequenceInfoAsComment"; do
    IFS=: read -r format extension lengths <<< "$report"
    # shellcheck disable=SC2086
    "$ZERLAN" $options $lengths --outputFormat "$format" "$input" > "direct/$g.$extension" 2> /dev/null
    cmp "direct/$g.$extension" "out/genomes/$g.$extension" || fail "out/genomes/$g.$extension differs from a direct run"
  done
  [ ! -e "out/genomes/$g.gff" ] || fail "a GFF report was written, which costs a search"
  for catalog in bed:bed trgt:trgt.bed gff3:gff3 simplerepeat:simpleRepeat.bed; do
    "$ZERLAN_CONVERT" "${catalog%:*}" "direct/$g.tsv" "direct/$g.${catalog#*:}"
    cmp "direct/$g.${catalog#*:}" "out/genomes/$g.${catalog#*:}" ||
      fail "out/genomes/$g.${catalog#*:} differs from zerlan-convert ${catalog%:*} on the report"
  done
  sed "s/^/$g#/" "direct/$g.bed" >> direct/all.bed
  # The rows of a one-per-line report follow its column header; lines
  # starting with '#' are comments.
  grep -v '^#' "direct/$g.tsv" | sed 1d | sed "s/^/$g\t/" > "direct/$g.rows"
  [ -s "direct/$g.rows" ] || fail "no repeat found in genome $g"
done
{ printf 'genome\t'; grep '^seq-name' direct/a.tsv; cat direct/{a,b,c}.rows; } > direct/all.tsv
cmp direct/all.tsv out/all-genomes.tsv || fail "out/all-genomes.tsv: $(diff direct/all.tsv out/all-genomes.tsv)"
cmp direct/all.bed <(zcat out/all-genomes.bed.gz) || fail "out/all-genomes.bed.gz: $(diff direct/all.bed <(zcat out/all-genomes.bed.gz))"
cmp <(grep '^b#b_2' direct/all.bed) <(tabix out/all-genomes.bed.gz 'b#b_2') || fail "tabix finds other rows of b#b_2"
[ "$(sort -u threads)" = 2 ] || fail "ZERLAN_THREADS was not the job's 2 threads: $(sort -u threads | tr '\n' ' ')"

run || fail "the second run failed: $(cat log)"
grep -q 'Nothing to be done' log || fail "the second run did something: $(cat log)"

genome d GGCAT > in/d.fa
run -n -q || fail "the dry run with a fourth genome failed: $(cat log)"
[ "$(awk '$1 ~ /^(scan|catalogs|merge|merge_catalogs|total)$/ { print $1, $2 }' log | sort | tr '\n' ' ')" = \
  "catalogs 1 merge 1 merge_catalogs 1 scan 1 total 5 " ] ||
  fail "a fourth genome should cost one scan, its catalogs and the merges: $(cat log)"

printf '>e\nACGT\nAC!GT\n' > in/e.fa
! run || fail "a run with a genome that is not FASTA succeeded"
grep -q 'It might not be a valid fasta file' log || fail "zerlan's message is not shown: $(cat log)"
grep -q 'zerlan ended with status 231 on in/e.fa' log || fail "zerlan's status is not shown: $(cat log)"
[ ! -e out/all-genomes.tsv ] || fail "a table of all genomes is left after the failure"
[ -z "$(ls out/all-genomes.bed.* 2> /dev/null)" ] || fail "a merged BED is left after the failure"
leftovers=$(find out/genomes -name 'e.*' -o -name '*.tmp')
[ -z "$leftovers" ] || fail "the failed scan left $leftovers"
echo "ok: reports and catalogs as direct runs, table and BED of all genomes, reruns, a failed genome"
