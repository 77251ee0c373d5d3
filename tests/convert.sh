#!/bin/bash
# zerlan-convert, by behaviour (the group is the first argument):
# - columns: the four catalogs of the example's report, also read from
#   standard input and gzip-compressed, against tests/convert.golden; units
#   read on the forward strand, the BED score capped at 1000, IDs of a
#   repeated interval;
# - consumers: catalogs of a gap-free genome read by bedtools sort and
#   intersect, gt gff3validator, tabix (.tbi and, past 2^29, .csi) and
#   samtools faidx, whose BED intervals hold the report's repeat sequences;
# - bad_input: reports in other formats, cut short or out of order, an
#   unknown FORMAT and an OUTPUT that cannot be written: a message naming the
#   line, a non-zero status and nothing under the final name.
# Needs ZERLAN, ZERLAN_CONVERT (the binaries) and EXAMPLE (examples/example.fa).
set -uo pipefail

: "${ZERLAN:?set ZERLAN to the zerlan binary}"
: "${ZERLAN_CONVERT:?set ZERLAN_CONVERT to the zerlan-convert binary}"
: "${EXAMPLE:?set EXAMPLE to examples/example.fa}"

golden=$(cd "$(dirname "$0")" && pwd)/convert.golden
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failed=0
fail() {
  echo "FAIL: $*" >&2
  failed=$((failed + 1))
}
convert() { "$ZERLAN_CONVERT" "$@"; }
# CHAR repeated N times.
repeat() { head -c "$2" /dev/zero | tr '\0' "$1"; }

columns() {
  "$ZERLAN" --outputFormat 3 --flanking 3 --sequenceInfoAsComment "$EXAMPLE" report.tsv 2> /dev/null
  # (GT)n is reported with unit AC, its reverse complement; 600 copies score 1198.
  printf '>gt\nCCTAG%sCCTAG\n' "$(repeat x 600 | sed 's/x/GT/g')" > gt.fa
  "$ZERLAN" --outputFormat 3 gt.fa gt.tsv 2> /dev/null
  # The same interval twice, as with another unit.
  sed '/^chrA\t2\t/p' report.tsv > twice.tsv
  for format in bed simplerepeat trgt gff3; do
    for report in report.tsv gt.tsv twice.tsv; do
      echo "=== $format $report"
      convert "$format" "$report" || echo "status $?"
    done
    convert "$format" - < report.tsv | cmp -s - <(convert "$format" report.tsv) || fail "$format: standard input differs"
    gzip -c report.tsv > report.tsv.gz
    convert "$format" report.tsv.gz | cmp -s - <(convert "$format" report.tsv) || fail "$format: gzip input differs"
  done > got
  diff -u "$golden" got || fail "the catalogs differ from tests/convert.golden"
}

# A gap-free genome: random residues around perfect and imperfect repeats,
# some written on the reverse strand of their reported unit.
genome() {
  awk 'BEGIN {
    srand(7)
    split("CA GT CAG CTG AATG ATT GGAAT ACGTTC", unit, " ")
    for (r = 1; r <= 3; r++) {
      printf ">r%d record %d\n", r, r
      s = ""
      for (i = 0; i < 12000 / r; i++) {
        s = s substr("ACGT", int(rand() * 4) + 1, 1)
        if (i % 400 == 200) {
          u = unit[int(rand() * 8) + 1]
          for (c = int(rand() * 20) + 5; c > 0; c--)
            s = s (rand() < 0.05 ? "A" : u)
        }
      }
      while (length(s) > 60) { print substr(s, 1, 60); s = substr(s, 61) }
      print s
    }
  }'
}

consumers() {
  for tool in bedtools gt tabix samtools; do
    command -v $tool > /dev/null || fail "$tool is not installed (bash scripts/install-deps)"
  done
  genome > genome.fa
  samtools faidx genome.fa
  "$ZERLAN" --outputFormat 3 --sequenceInfoAsComment genome.fa report.tsv 2> /dev/null
  grep -v '^#' report.tsv | awk -F'\t' 'NR > 1 { print $1 ":" $4 "-" $5 "\t" $14 }' > repeats
  [ "$(wc -l < repeats)" -gt 40 ] || fail "only $(wc -l < repeats) repeats in the genome"
  for format in bed simplerepeat trgt gff3; do
    convert "$format" report.tsv "$format" || fail "$format: status $?"
    convert "$format" report.tsv "$format.gz" || fail "$format.gz: status $?"
    cmp -s "$format" <(zcat "$format.gz") || fail "$format.gz holds other lines than $format"
    [ "$(grep -vc '^#' "$format")" = "$(wc -l < repeats)" ] || fail "$format: not one line per repeat"
  done

  # The BED intervals, cut from the genome, are the report's repeat sequences.
  cut -f1-3 bed | awk '{ print $1 ":" $2 + 1 "-" $3 }' > regions
  samtools faidx -n 1000000 genome.fa -r regions | paste - - | tr -d '>' > cut
  cmp -s cut repeats || fail "samtools faidx of the BED intervals: $(diff repeats cut | head -4)"
  for format in simplerepeat trgt; do
    cmp -s <(cut -f1-3 bed) <(cut -f1-3 "$format") || fail "$format has other intervals than bed"
  done

  bedtools sort -faidx genome.fa.fai -i bed > sorted || fail "bedtools sort refuses the BED"
  cmp -s bed sorted || fail "the BED is not in the order of bedtools sort"
  for format in simplerepeat trgt gff3; do
    # Every feature has its twin with the same interval in the BED.
    [ "$(bedtools intersect -f 1 -r -u -a "$format" -b bed | grep -vc '^#')" = "$(wc -l < repeats)" ] ||
      fail "bedtools intersect: $format and bed differ in intervals"
  done
  gt gff3validator -typecheck so gff3 > gt.log 2>&1 || fail "gt gff3validator: $(cat gt.log)"
  grep -q warning gt.log && fail "gt gff3validator warns: $(cat gt.log)"

  # tabix of a few regions against the rows of the whole file.
  for region in r1:1-12000 r1:2001-5000 r2:350-351 r3:1-1 r3:3000-4000; do
    name=${region%:*} from=${region#*:} from=${from%-*} to=${region#*-}
    for format in bed simplerepeat trgt; do
      awk -v n="$name" -v f="$from" -v t="$to" '$1 == n && $2 < t && $3 >= f' "$format" > want
      tabix "$format.gz" "$region" > found || fail "tabix $format.gz $region: status $?"
      cmp -s want found || fail "tabix $format.gz $region: $(diff want found | head -4)"
    done
    awk -F'\t' -v n="$name" -v f="$from" -v t="$to" '$1 == n && $4 <= t && $5 >= f' gff3 > want
    tabix gff3.gz "$region" > found
    cmp -s want found || fail "tabix gff3.gz $region: $(diff want found | head -4)"
  done
  [ -e bed.gz.tbi ] && [ ! -e bed.gz.csi ] || fail "bed.gz has no .tbi index, or also a .csi"

  # Past 2^29 (536,870,912) a .tbi cannot hold the positions: .csi, and the
  # .tbi left from the run before goes.
  {
    sed -n '/^seq-name/q;p' report.tsv
    echo "##sequence-region long 1 700000000"
    grep -m1 '^seq-name' report.tsv
    grep -v '^#' report.tsv | sed 1d | awk -F'\t' -v OFS='\t' '$1 == "r1" { $1 = "long"; $4 += 600000000; $5 += 600000000; print }'
    echo '## Finished successfully. ##'
  } > long.tsv
  convert bed long.tsv bed.gz || fail "bed.gz past 2^29: status $?"
  [ -e bed.gz.csi ] && [ ! -e bed.gz.tbi ] || fail "bed.gz past 2^29 has no .csi index, or still a .tbi"
  awk '$2 < 600005000 && $3 >= 600002001' <(zcat bed.gz) > want
  tabix bed.gz long:600002001-600005000 > found
  [ -s want ] && cmp -s want found || fail "tabix on the .csi index: $(diff want found | head -4)"
}

# expect_refusal STATUS PATTERN FORMAT REPORT [OUTPUT]: the status, a
# message matching PATTERN, and no catalog or temporary file left.
expect_refusal() {
  local status=$1 pattern=$2
  shift 2
  rm -rf out out.*
  convert "$@" > /dev/null 2> err
  local got=$?
  [ $got = "$status" ] || fail "zerlan-convert $*: status $got, expected $status"
  grep -Eq -- "$pattern" err || fail "zerlan-convert $*: message $(cat err), expected /$pattern/"
  [ -z "$(ls out* 2> /dev/null)" ] || fail "zerlan-convert $* left $(ls out*)"
}

bad_input() {
  "$ZERLAN" --outputFormat 3 "$EXAMPLE" report.tsv 2> /dev/null
  local header rows
  header=$(grep -n -m1 '^seq-name' report.tsv | cut -d: -f1)
  rows=$(wc -l < report.tsv)
  for format in 0 1 2 4; do
    "$ZERLAN" --outputFormat $format "$EXAMPLE" format$format.txt 2> /dev/null
    expect_refusal 1 "format$format.txt line [0-9]+: expected the column header of a one-per-line report" bed "format$format.txt" out.bed
  done
  # The rows of a GFF report without its head are named as such.
  "$ZERLAN" --outputFormat 2 "$EXAMPLE" 2> /dev/null | grep -v '^#' > rows.gff
  expect_refusal 1 "rows.gff line 1: .*found a line of a GFF report" bed rows.gff out.bed
  expect_refusal 1 "example.fa line 1: .*FASTA file" bed "$EXAMPLE" out.bed
  expect_refusal 1 "standard input is empty" gff3 - out.gff3 < /dev/null
  head -c "$(($(head -n $((header + 2)) report.tsv | wc -c) + 20))" report.tsv > cut.tsv
  expect_refusal 1 "cut.tsv line $((header + 3)): the line has [0-9]+ columns, the header on line $header has 14: the line is cut short" bed cut.tsv out.bed.gz
  head -n $((header + 2)) report.tsv > unfinished.tsv
  expect_refusal 1 "unfinished.tsv line $((header + 2)): the report ends without zerlan's closing line" trgt unfinished.tsv out.bed
  cat unfinished.tsv report.tsv > joined.tsv
  expect_refusal 1 "joined.tsv line $((2 * header + 2)): a second column header before zerlan's closing line" bed joined.tsv out.bed
  sed "$((header + 2))s/\t[ACGTN]*\$/\tCACA/" report.tsv > short.tsv
  expect_refusal 1 "short.tsv line $((header + 2)): the repeat's sequence is not [0-9]+ of A, C, G, T and N" simplerepeat short.tsv out
  sed "$((header + 1))s/\t41\t/\tforty-one\t/" report.tsv > letters.tsv
  expect_refusal 1 "letters.tsv line $((header + 1)): column start holds 'forty-one', not a whole number" gff3 letters.tsv out.gff3
  # A unit of no residues, a lone minus sign and a perfection with letters after it.
  sed "$((header + 1))s/^chrA\t2\t/chrA\t0\t/" report.tsv > unit0.tsv
  expect_refusal 1 "unit0.tsv line $((header + 1)): column unit-length holds '0', not a whole number above 0" bed unit0.tsv out.bed
  awk -F'\t' -v OFS='\t' -v row=$((header + 1)) 'NR == row { $9 = "-" } 1' report.tsv > minus.tsv
  expect_refusal 1 "minus.tsv line $((header + 1)): column mismatches holds '-', not a whole number of 0 or more" bed minus.tsv out.bed
  sed "$((header + 1))s/\t100.000\t/\t100.0x\t/" report.tsv > perfection.tsv
  expect_refusal 1 "perfection.tsv line $((header + 1)): column perfection holds '100.0x', not a number" bed perfection.tsv out.bed
  cut -f1-13 report.tsv > noseq.tsv
  expect_refusal 1 "noseq.tsv line $header: the report has no repeat-seq column" simplerepeat noseq.tsv out.bed
  { head -n $header report.tsv; sed -n "$((header + 2))p; $((header + 1))p" report.tsv | tac; tail -n +$((header + 3)) report.tsv; } > swapped.tsv
  expect_refusal 1 "swapped.tsv line $((header + 2)): the repeat at 41-64 of chrA comes after the one at 95-118 \(line $((header + 1))\)" bed swapped.tsv out.bed
  { cat report.tsv; sed -n '/^seq-name/,$p' report.tsv; } > twice.tsv
  expect_refusal 1 "twice.tsv line $((rows + 2)): the repeats of record chrA go on after those of other records" bed twice.tsv out.bed
  gzip -c report.tsv | head -c 300 > broken.tsv.gz
  expect_refusal 1 "cannot read broken.tsv.gz after line [0-9]+: the compressed data are corrupt or cut short" bed broken.tsv.gz out.bed
  expect_refusal 1 "cannot read missing.tsv: No such file" bed missing.tsv out.bed

  expect_refusal 2 "unknown FORMAT 'bed12'" bed12 report.tsv out.bed
  expect_refusal 2 "Usage: zerlan-convert FORMAT" bed report.tsv out.bed extra
  for option in -h --help; do
    convert $option > out 2> err && grep -q "^Usage: zerlan-convert FORMAT" out && [ ! -s err ] ||
      fail "zerlan-convert $option: no usage on standard output"
  done
  rm -f out err
  expect_refusal 3 "cannot write missing/out.bed: No such file" bed report.tsv missing/out.bed
  convert bed report.tsv > /dev/full 2> err
  [ $? = 3 ] && grep -q "cannot write standard output: No space left on device" err || fail "/dev/full: $(cat err)"
  # A folder under the final name is found only at the rename.
  mkdir out.bed
  convert bed report.tsv out.bed 2> err
  [ $? = 3 ] && grep -q "cannot write out.bed: Is a directory" err || fail "out.bed as a folder: $(cat err)"
  [ "$(ls -A out.bed; ls out.bed.* 2> /dev/null)" = "" ] || fail "out.bed as a folder: files left"
  rmdir out.bed
  # A complete catalog under the final name stays as it was.
  echo old > out.bed
  convert bed unfinished.tsv out.bed 2> /dev/null
  [ "$(cat out.bed)" = old ] && [ -z "$(ls out.bed.* 2> /dev/null)" ] || fail "the old out.bed was touched"
}

case ${1:-} in
columns | consumers | bad_input) "$1" ;;
*) echo "usage: $0 columns|consumers|bad_input" >&2; exit 2 ;;
esac
[ $failed = 0 ] && echo "ok: zerlan-convert $1"
exit $((failed > 0))
