#!/bin/bash
# The input name "-" reads standard input through a pipe, which cannot be
# rewound: report, console and exit status must be those of the same bytes
# read from a file, the input-name lines aside. Masking has no file beside
# standard input and is refused before anything is read.
# Needs ZERLAN (the binary) and EXAMPLE (examples/example.fa) in the environment.
set -uo pipefail

: "${ZERLAN:?set ZERLAN to the zerlan binary}"
: "${EXAMPLE:?set EXAMPLE to examples/example.fa}"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
status=0
fail() {
  echo "FAIL: $*"
  status=1
}

gzip -c "$EXAMPLE" > example.fa.gz
# Invalid FASTA in the second record: the read error and its line number.
printf '>a\nACACACACACAC\n>b\nAC1T\n' > invalid.fa
# A repeat across the 1,000,000-byte block boundary of the reader, on one line.
{ echo '>long'; head -c 999990 /dev/zero | tr '\0' 'A'; printf 'CAGCAGCAGCAGCAGCAGCAG'; echo; } > long.fa

# run NAME ARGS...: report, console and status of one run, with the clock
# times of the progress lines masked.
run() {
  local name=$1
  shift
  "$ZERLAN" "$@" > "$name.out" 2> "$name.err"
  echo $? > "$name.status"
  sed -i 's/^[0-9][0-9]\.[0-9][0-9]\.[0-9][0-9] - /TT.TT.TT - /' "$name.out" "$name.err"
}

for input in "$EXAMPLE" example.fa.gz invalid.fa long.fa; do
  for format in 0 3; do
    options=(-M exact --outputFormat "$format")
    run file "${options[@]}" "$input"
    # Standard input is named "-" where the file run names the file.
    sed -i 's/^\(# \)\{0,1\}\(Input file name:[[:space:]]*\).*/\1\2-/' file.out file.err
    cat "$input" | run pipe "${options[@]}" -
    for part in out err status; do
      cmp -s "file.$part" "pipe.$part" || fail "$input, format $format: the $part differs from the file's: $(diff "file.$part" "pipe.$part" | head -5)"
    done
  done
done
grep -qP '^long\t3\t100.000\t999991\t1000011\t' pipe.out || fail "the repeat across the block boundary is missing"

message='Sorry, the options --maskX and --maskLower write the masked sequences to a file beside'
for mask in --maskX --maskLower; do
  cat "$EXAMPLE" | "$ZERLAN" "$mask" - > out 2> err
  code=$?
  [ $code = 255 ] || fail "$mask with -: status $code, expected 255"
  grep -qF -- "$message" err || fail "$mask with -: no message saying why"
  ! grep -q 'Input file name' err || fail "$mask with -: refused only after the input was opened"
  [ ! -s out ] && [ ! -e -.masked ] || fail "$mask with -: wrote a report or a masked file"
done

"$ZERLAN" --bogus - < "$EXAMPLE" > /dev/null 2>&1
code=$?
[ $code = 1 ] || fail "--bogus with -: status $code, expected the parse error's 1"

[ $status = 0 ] && echo "ok: standard input gives the reports of files; masking with - is refused"
exit $status
