#!/bin/bash
# The masked copy of the input, INPUT.masked: repeats as X or in lower case
# (which wins over X), gap characters back in their places, 80 residues a
# line, only records in range, masked after the report and after the filters.
source "$(dirname "$0")/lib.sh"

# AC x 6 with a '-' after its first residue and a '*' and a '-' inside it,
# and G x 8 after two more gaps; then a record outside the range.
gaps='>s1 first\nGTA-CACAC*AC-ACACTT--GGGGGGGG\n>s2\nACACACACACAC\n'
check mask-X "$gaps" -M exact --outputFormat 3 --lastSeq 1 --maskX in.fa
check mask-lower "$gaps" -M exact --outputFormat 3 --lastSeq 1 --maskLower in.fa
check mask-lower "$gaps" -M exact --outputFormat 3 --lastSeq 1 --maskX --maskLower in.fa
# Lines of 60 residues are rewrapped to 80: the first repeat crosses a line
# break, the second reaches the end.
check lines-of-80 "=printf '>w\n'; echo CG\$(repeat A 100)CG\$(repeat T 57) | fold -w 60" \
  -M exact --outputFormat 2 --maskLower in.fa
# 160 characters, a gap among them, fill two lines: no empty line follows.
check lines-full "=printf '>a\n'; repeat A 100; printf -- '-'; repeat A 59; printf '\n>b\nGT\n'" \
  -M exact --outputFormat 2 --maskX in.fa
check masked-unwritable "=printf '>r\nACACACACACAC\n'; mkdir in.fa.masked" --maskX in.fa
# The repeat of s1 is 96.296 % perfect: filtered out, it is neither reported nor masked.
check perfect-only '>s1\nACGACGACGACGTCGACGACGACGACG\n>s2\nGTACACACACACACTT\n' \
  --minPerfection 100 --maxPerfection 100 --outputFormat 3 --maskLower in.fa
# The exact search has no perfection filter: the repeat with N's is masked
# all the same, though not reported.
check exact-perfect-only '>s1\nACACACNNACACAC\n>s2\nGTACACACACACACTT\n' \
  -M exact --minPerfection 100 --maxPerfection 100 --outputFormat 3 --maskLower in.fa
finish
