#!/bin/bash
# The files zerlan writes must work with the usual tools downstream:
# - the .masked file indexes with samtools faidx, and a region around each
#   reported repeat holds masked residues exactly at the reported positions
#   (1-based, gap characters counted, as faidx counts them);
# - the GFF report and the one-per-line report turned into BED are accepted
#   by bedtools sort and merge, and both give the same covered bases as the
#   reported repeats.
# Needs ZERLAN (the binary) and EXAMPLE (examples/example.fa) in the environment.
set -euo pipefail

: "${ZERLAN:?set ZERLAN to the zerlan binary}"
: "${EXAMPLE:?set EXAMPLE to examples/example.fa}"

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

for tool in samtools bedtools; do
  command -v "$tool" > /dev/null || fail "$tool is not installed (apt-get install $tool)"
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The masked file is written beside the input, so work on a copy.
cp "$EXAMPLE" "$work/in.fa"
samtools faidx "$work/in.fa" || fail "samtools faidx refuses the example itself"

# Sequence of a faidx region on one line.
region() {
  samtools faidx "$1" "$2" | sed 1d | tr -d '\n'
}

# Repeats of a one-per-line report as "name start end", header and comments skipped.
repeats_of() {
  awk -F'\t' '!/^#/ && !/^seq-name\t/ { print $1, $4, $5 }' "$1"
}

check_masking() {
  local option=$1
  rm -f "$work/in.fa.masked" "$work/in.fa.masked.fai"
  "$ZERLAN" "$option" --outputFormat 3 "$work/in.fa" "$work/mask.tsv" 2> /dev/null ||
    fail "zerlan $option exited with status $?"
  [ -s "$work/in.fa.masked" ] || fail "zerlan $option wrote no in.fa.masked"
  samtools faidx "$work/in.fa.masked" || fail "samtools faidx refuses the file written with $option"
  cmp -s <(cut -f1,2 "$work/in.fa.fai") <(cut -f1,2 "$work/in.fa.masked.fai") ||
    fail "$option: record names or lengths of the masked file differ from the input"

  repeats_of "$work/mask.tsv" > "$work/mask.repeats"
  [ -s "$work/mask.repeats" ] || fail "$option: no repeat reported on the example"

  local name start end from to
  while read -r name start end; do
    # The repeat with five characters of context on each side, cut at the record's ends.
    from=$((start > 5 ? start - 5 : 1))
    to=$((end + 5))
    local len
    len=$(awk -v n="$name" '$1 == n { print $2 }' "$work/in.fa.fai")
    [ "$to" -le "$len" ] || to=$len
    awk -v option="$option" -v name="$name" -v from="$from" \
        -v original="$(region "$work/in.fa" "$name:$from-$to")" \
        -v masked="$(region "$work/in.fa.masked" "$name:$from-$to")" '
      # covered[p]: p lies in some repeat reported for this record.
      $1 == name { for (p = $2; p <= $3; p++) covered[p] = 1 }
      END {
        if (length(original) != length(masked)) {
          printf "%s: region %s:%d has %d characters in the input, %d in the masked file\n",
                 option, name, from, length(original), length(masked)
          exit 1
        }
        for (i = 1; i <= length(original); i++) {
          p = from + i - 1
          o = substr(original, i, 1)
          m = substr(masked, i, 1)
          if (o == "-" || o == "*")
            want = o
          else if (!covered[p])
            want = toupper(o)
          else if (option == "--maskX")
            want = "X"
          else
            want = tolower(o)
          if (m != want) {
            printf "%s: %s position %d: input %s, masked %s, expected %s\n", option, name, p, o, m, want
            bad = 1
          }
        }
        exit bad
      }' "$work/mask.repeats" || fail "$option: masked residues are not where the repeat $name:$start-$end was reported"
  done < "$work/mask.repeats"
  echo "ok: $option masks exactly the reported positions ($(wc -l < "$work/mask.repeats") repeats)"
}

check_masking --maskX
check_masking --maskLower

# bedtools on the GFF report and on the one-per-line report made into BED.
"$ZERLAN" --outputFormat 2 "$work/in.fa" "$work/out.gff" 2> /dev/null || fail "zerlan --outputFormat 2 exited with status $?"
"$ZERLAN" --outputFormat 3 "$work/in.fa" "$work/out.tsv" 2> /dev/null || fail "zerlan --outputFormat 3 exited with status $?"

bedtools sort -i "$work/out.gff" > "$work/gff.sorted" || fail "bedtools sort refuses the GFF report"
bedtools merge -i "$work/gff.sorted" > "$work/gff.merged" || fail "bedtools merge refuses the GFF report"

repeats_of "$work/out.tsv" | awk -v OFS='\t' '{ print $1, $2 - 1, $3 }' > "$work/table.bed"
bedtools sort -i "$work/table.bed" > "$work/table.sorted" || fail "bedtools sort refuses the BED made from the one-per-line report"
bedtools merge -i "$work/table.sorted" > "$work/table.merged" || fail "bedtools merge refuses the BED made from the one-per-line report"

[ -s "$work/gff.merged" ] || fail "bedtools merge of the GFF report is empty"
[ "$(grep -vc '^#' "$work/out.gff")" -eq "$(wc -l < "$work/table.bed")" ] ||
  fail "the GFF report and the one-per-line report list different numbers of repeats"
cmp -s "$work/gff.merged" "$work/table.merged" ||
  fail "merged intervals differ between GFF and one-per-line report: $(diff "$work/gff.merged" "$work/table.merged" | tr '\n' ' ')"

# Covered bases: the union of the reported repeats, computed here, against
# the bases of the merged intervals.
repeats_of "$work/out.tsv" | awk '{ for (p = $2; p <= $3; p++) print $1 "\t" p }' | sort -u > "$work/union"
awk '{ for (p = $2 + 1; p <= $3; p++) print $1 "\t" p }' "$work/gff.merged" | sort > "$work/merged.bases"
cmp -s "$work/union" "$work/merged.bases" ||
  fail "bases covered by the merged intervals ($(wc -l < "$work/merged.bases")) differ from those of the reported repeats ($(wc -l < "$work/union"))"
echo "ok: bedtools sort and merge accept GFF and BED; $(wc -l < "$work/gff.merged") intervals cover $(wc -l < "$work/union") bases"
