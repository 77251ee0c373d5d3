#!/bin/bash
# Command line and console: the whole console and report of a default run and
# of a run with every setting changed, the report file, refused command lines
# and thread counts with their messages and statuses, the ends that the
# command-line library makes itself, and the record range.
source "$(dirname "$0")/lib.sh"

one='>chr1 test seq\nGTACACACACACACTT\n'
full=1 check default '>s1 desc\nACGACGACGACGTCGACGACGACGACG\n' in.fa
full=1 check every-setting "$one" --firstSeq 3 --lastSeq 7 -r 4 -R 30 -N 5 --NsAsMissense -u 2 -U 6 -l 12 \
  --minLength_a 3 --minLength_b 1.5 -s 9 --minScore_a 2 --minScore_b 0.25 --minPerfection 60 --maxPerfection 95.5 \
  -m -3 -g -4 -f 10 --VELTArun --sequenceInfoAsComment --convert_gaps_to_Ns --outputFormat 3 --printRepeatSeqMode 0 \
  --NPerfectionMode 1 --reportUnit 0 -M extendExact --preferShorterRepeats -D --maskX in.fa
# An existing report file is overwritten.
full=1 check report-file "=printf '$one'; echo old > out.txt" --outputFormat 3 in.fa out.txt

# Refusals come before any file is opened, so the input named need not exist.
check no-arguments "$one"
check output-format-5 "$one" --outputFormat 5 no.fa
check sequence-mode-3 "$one" --printRepeatSeqMode 3 no.fa
check N-mode-3 "$one" --NPerfectionMode 3 no.fa
check unit-mode-3 "$one" --reportUnit 3 no.fa
check mismatch-score "$one" --mismatchScore -1 no.fa
check indel-score "$one" --indelScore -1 no.fa
check recursion-0 "$one" --recursion 0 no.fa
check unit-lengths "$one" --minUnitLen 5 --maxUnitLen 4 no.fa
check minimum-score "$one" --minScore 1 no.fa
# The smallest minimum score, and the smallest minimum length, that are taken.
check no-input-file "$one" --minScore 2 no.fa
check no-input-file "$one" --minScore 1 --minLength 2 no.fa
check no-input-file "$one" no.fa
check three-names "$one" in.fa out.txt third.txt # neither name is taken
check output-unwritable "$one" in.fa nodir/out.txt
# Standard input has no place beside it for a masked copy.
check masking-standard-input "$one" --maskX -
check masking-standard-input "$one" --maskLower -
# A report written into the masked copy of the same run would leave neither
# complete: refused before any file is opened, however the path names it.
check report-is-masked-file "$one" --maskX in.fa in.fa.masked
check report-is-masked-file-by-path "$one" --maskLower in.fa ../run/in.fa.masked
check report-is-masked-file-by-link "=printf '$one'; ln -s in.fa.masked link" --maskX in.fa link
# A name that only begins like that of the masked copy is no conflict.
check report-is-not-masked-file "$one" --maskX in.fa in.fa.masked.txt
# The thread count from the environment is checked after the options.
for threads in 0 -2 many '' 3x; do ZERLAN_THREADS=$threads check "threads-$threads" "$one" in.fa; done
lines=2 check help "$one" --help
check version "$one" --version
for input in in.fa -; do lines=1 check unknown-option "$one" --noSuchOption $input; done
lines=1 check unknown-search-mode "$one" --searchMode fuzzy in.fa
lines=1 check option-twice "$one" --minScore 8 --minScore 9 in.fa

# Records are numbered from 1; those outside the range are read but not searched.
three='>r1\nACACACACACAC\n>r2\nAGAGAGAGAGAG\n>r3\nATATATATATAT\n'
check from-2 "$three" -M exact --outputFormat 3 --firstSeq 2 in.fa
check from-2-to-2 "$three" -M exact --outputFormat 3 --firstSeq 2 --lastSeq 2 in.fa
check from-3-to-1 "$three" -M exact --outputFormat 3 --firstSeq 3 --lastSeq 1 in.fa
finish
