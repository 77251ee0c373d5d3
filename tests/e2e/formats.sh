#!/bin/bash
# Output formats: one repeat in each of the five formats with the sequence
# modes, flanks (also cut at the ends of the sequence), sequence information
# as comments, the VELTA variant and N's as missense; the legends; class
# names and units beyond six and fifty residues; alignments with N's and
# deletions, also one grown leftwards from its seed.
source "$(dirname "$0")/lib.sh"

# The only repeat is AC x 6 on residues 3 to 14, with GT and TT around it.
format() { local name=$1; shift; check "$name" '>chr1 test seq\nGTACACACACACACTT\n' -M exact "$@" in.fa; }
format native-sequence-flanks --outputFormat 0 --printRepeatSeqMode 1 -f 2
format native-alignment-flanks --outputFormat 0 -f 2
# VELTA drops the count of ACGTU characters and the footer.
full=1 format native-VELTA --outputFormat 0 --printRepeatSeqMode 0 --VELTArun
format extended --printRepeatSeqMode 0
full=1 format extended-Ns-as-missense --printRepeatSeqMode 0 --NsAsMissense
format gff --outputFormat 2
# Comments carry the short name in the footer of gff and one-per-line.
full=1 format gff-info --outputFormat 2 --sequenceInfoAsComment
format table --outputFormat 3
format table-info-VELTA --outputFormat 3 --sequenceInfoAsComment --VELTArun
full=1 format table-flanks --outputFormat 3 -f 2
format table-flanks-cut --outputFormat 3 -f 5
format table-Ns-as-missense --outputFormat 3 --NsAsMissense
full=1 format fasta --outputFormat 4 # no legend, no footer, no closing line
format fasta-flanks --outputFormat 4 -f 2

check seven-nucleotide '>s\nACGTTGAACGTTGA\n' -M exact --outputFormat 0 --printRepeatSeqMode 0 --reportUnit 0 in.fa
# gff writes units of up to 50 residues.
check gff-long-units "=u=A\$(repeat C 49); printf '>a\n%s%s\n>b\n%sC%sC\n' \$u \$u \$u \$u" \
  -M exact --outputFormat 2 -u 50 -U 51 in.fa
check alignment-Ns '>s\nACACACNNACACAC\n' -M exact in.fa
check alignment-deletion '>s\nACGACGACGACGCGACGACGACGACG\n' in.fa
# Both kept: ACG grown rightwards over the T with a mismatch and then a
# deletion, and CGA grown leftwards with the mismatch first, so that its
# deletion falls on the same residue and is listed and aligned before it.
check alignment-deletion-and-mismatch '>s\nACGACGACGACTCGACGACGACG\n' -M extendExact -D in.fa
check flanks-empty-table '>s\nACACACACACACTT\n' -M exact --outputFormat 3 -f 3 in.fa
check flanks-empty-sequence '>s\nACACACACACACTT\n' -M exact --outputFormat 0 --printRepeatSeqMode 1 -f 3 in.fa
# A gap right before and one right after AC x 6, which stands on input
# positions 4 to 15.
check gaps-around-repeat '>s\nGT-ACACACACACAC*TT\n' -M exact --outputFormat 3 in.fa
finish
