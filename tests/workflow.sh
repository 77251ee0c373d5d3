#!/bin/bash
# The Snakemake workflow on a small collection of genomes:
# - each genome's reports are the bytes of a direct zerlan run with the same
#   options, and zerlan sees the job's threads in ZERLAN_THREADS;
# - the table of all genomes holds one header and the rows of every
#   one-per-line report, each headed by its genome's name;
# - a second run does nothing; a new genome costs one scan and the merge;
# - a genome that is not FASTA fails the run with zerlan's status 231 and
#   leaves neither its reports nor a table of all genomes.
# Needs ZERLAN (the binary) and SNAKEFILE (workflow/Snakefile) in the environment.
set -euo pipefail

: "${ZERLAN:?set ZERLAN to the zerlan binary}"
: "${SNAKEFILE:?set SNAKEFILE to workflow/Snakefile}"

fail() {
  echo "FAIL: $*" >&2
  exit 1
}
command -v snakemake > /dev/null || fail "snakemake is not installed (apt-get install snakemake)"

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
  for report in 1:txt 2:gff 3:tsv; do
    # shellcheck disable=SC2086
    "$ZERLAN" $options --outputFormat "${report%:*}" "$input" > "direct/$g.${report#*:}" 2> /dev/null
    cmp "direct/$g.${report#*:}" "out/genomes/$g.${report#*:}" ||
      fail "out/genomes/$g.${report#*:} differs from a direct run"
  done
  # The rows of a one-per-line report follow its column header; lines
  # starting with '#' are comments.
  grep -v '^#' "direct/$g.tsv" | sed 1d | sed "s/^/$g\t/" > "direct/$g.rows"
  [ -s "direct/$g.rows" ] || fail "no repeat found in genome $g"
done
{ printf 'genome\t'; grep '^seq-name' direct/a.tsv; cat direct/{a,b,c}.rows; } > direct/all.tsv
cmp direct/all.tsv out/all-genomes.tsv || fail "out/all-genomes.tsv: $(diff direct/all.tsv out/all-genomes.tsv)"
[ "$(sort -u threads)" = 2 ] || fail "ZERLAN_THREADS was not the job's 2 threads: $(sort -u threads | tr '\n' ' ')"

run || fail "the second run failed: $(cat log)"
grep -q 'Nothing to be done' log || fail "the second run did something: $(cat log)"

genome d GGCAT > in/d.fa
run -n -q || fail "the dry run with a fourth genome failed: $(cat log)"
[ "$(awk '$1 ~ /^(scan|merge|total)$/ { print $1, $2 }' log | sort | tr '\n' ' ')" = "merge 1 scan 1 total 2 " ] ||
  fail "a fourth genome should cost one scan and the merge: $(cat log)"

printf '>e\nACGT\nAC!GT\n' > in/e.fa
! run || fail "a run with a genome that is not FASTA succeeded"
grep -q 'It might not be a valid fasta file' log || fail "zerlan's message is not shown: $(cat log)"
grep -q 'zerlan ended with status 231 on in/e.fa' log || fail "zerlan's status is not shown: $(cat log)"
[ ! -e out/all-genomes.tsv ] || fail "a table of all genomes is left after the failure"
leftovers=$(find out/genomes -name 'e.*' -o -name '*.tmp')
[ -z "$leftovers" ] || fail "the failed scan left $leftovers"
echo "ok: reports as direct runs, table of all genomes, reruns, a failed genome"
