#!/bin/bash
# The input name "-" reads standard input through a pipe, which cannot be
# rewound: report, console and status must be those of the same bytes read
# from a file, the input-name lines aside; plain and gzip, a read error, and
# a repeat across the reader's 1,000,000-byte blocks. Masking with "-" is
# refused in cli.sh.
source "$(dirname "$0")/lib.sh"
cd "$work" || exit 1

gzip -c "$EXAMPLE" > example.fa.gz
# Invalid FASTA in the second record: the read error and its line number.
printf '>a\nACACACACACAC\n>b\nAC1T\n' > invalid.fa
{ echo '>long'; repeat A 999990; printf 'CAGCAGCAGCAGCAGCAGCAG\n'; } > long.fa

# run NAME ARGS...: report, console and status in NAME, clock times masked.
run() {
  "$ZERLAN" "${@:2}" > "$1" 2> err
  echo "status $?" >> err
  cat err >> "$1"
  sed -Ei 's/^[0-9]{2}\.[0-9]{2}\.[0-9]{2} - /TT.TT.TT - /' "$1"
}
for input in "$EXAMPLE" example.fa.gz invalid.fa long.fa; do
  for format in 0 3; do
    run file -M exact --outputFormat "$format" "$input"
    # Only the file run's input name is rewritten: the pipe run must show "-".
    sed -Ei 's/^(# )?(Input file name:[[:space:]]*).*/\1\2-/' file
    cat "$input" | run pipe -M exact --outputFormat "$format" -
    if ! cmp -s file pipe; then
      echo "FAILED: $input, format $format: $(diff file pipe | head -5)"
      failed=$((failed + 1))
    fi
  done
done
grep -qP '^long\t3\t100.000\t999991\t1000011\t' pipe || { echo "FAILED: no repeat across the block boundary"; failed=1; }
finish
