#!/bin/bash
# Search modes: exact, exact-then-extend and the complete imperfect search on
# small sequences whose repeats can be worked out by hand; the thresholds and
# the perfection of repeats with N's.
source "$(dirname "$0")/lib.sh"

mismatch=ACGACGACGACGTCGACGACGACGACG # ACG x 9 with a T for the A at 13
search() { local name=$1 sequence=$2; shift 2; check "$name" ">s\n$sequence\n" --outputFormat 3 "$@" in.fa; }

# Two N's are passed at score 0 and count as mismatches in the perfection;
# N's at the end are trimmed; as missense, an N ends the repeat.
search exact-Ns-passed ACACACNNACACAC -M exact
search exact-Ns-trimmed ACACACACNNG -M exact
search exact-Ns-as-missense ACACACACNNACACACAC -M exact --NsAsMissense
search exact-mismatch $mismatch -M exact # the mismatch splits the repeat
# The minimum score is max(6, k), or here max(2, ceil(3 + k/2)): 4 for k = 1.
search exact-six-G GGGGGG -M exact
search exact-seven-G GGGGGGG -M exact
search exact-thresholds-rounded-up AAAATCCCCCG -M exact -s 2 --minScore_a 3 --minScore_b 0.5
# Every repeat is perfect, so a minimum perfection of 100 changes nothing: the
# (AC)n run still keeps the windows inside it from being tried, and the GAC
# repeat is found from the first window outside it, which gives its unit as is.
for perfection in 0 100; do
  search exact-perfect-run-keeps-windows ACACACACACGACGACGACGAC -M exact --reportUnit 0 --minPerfection $perfection
done
# Seeds on both sides of the mismatch grow into the same repeat; of the two,
# the first (unit ACG, not CGA) stays. ACACAC has seeds of score 4 that do not
# grow and must not pass the user's minimum score.
check extend-exact ">a\n$mismatch\n>b\nACACAC\n" -M extendExact --outputFormat 3 --reportUnit 0 in.fa
check imperfect-insertion '>s\nACACACACACACGACACACACACAC\n' in.fa
search imperfect-deletion ACGACGACGACGCGACGACGACGACG # one A missing: 27 BP from 26 residues
# The G tail is a repeat of its own, overlapping the trinucleotide by one residue.
search imperfect-G-tail ACGACGACGACGACGACGACGGGGGGGGG
# Score 9 before and after the mismatch: the longer alignment by default.
search imperfect-equal-scores-longer ACGACGACGACGTCGACGTTTTT -u 3 -U 3
search imperfect-equal-scores-shorter ACGACGACGACGTCGACGTTTTT -u 3 -U 3 --preferShorterRepeats
for mode in 0 1 2; do
  search N-perfection-mode-$mode ACGACGACGACGTCGACGNNGACGACG --NPerfectionMode $mode
done
finish
