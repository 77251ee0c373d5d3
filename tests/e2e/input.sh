#!/bin/bash
# FASTA input: the cleaning rules (seen in the report and the masked copy),
# the read error and its line, line-break conventions, line breaks and record
# starts across the reader's 1,000,000-byte blocks, gzip input sound, cut
# short or damaged, and a full disk.
source "$(dirname "$0")/lib.sh"

exact=(-M exact --outputFormat 3 in.fa)
# Upper case, U as T, every ambiguity code as N, blanks ignored, gaps out of
# the residues but back in the masked copy; comment lines before the record.
dirty='#comment\r\n#\r\n\r\n>r1 first record\r\ngtaUAu AT\tat-AU*atATcc\r\nNXRYKMSWBDHV?nxrykmswbdhv\r\n'
check cleaning "$dirty" --maskLower "${exact[@]}"
check cleaning-gaps-to-N "$dirty" --maskLower --convert_gaps_to_Ns "${exact[@]}"

# The line of the offending character, or one more than the number of line
# breaks when no record began.
check no-record-empty '' "${exact[@]}"
check no-record-blank-lines '\n\n' "${exact[@]}"
check no-record-comments '\n#a\n\n# b\n' "${exact[@]}"
check no-header '\n\nACGT\n' "${exact[@]}"
check letter-J '>s\nACGT\n\n\nACJ\n' "${exact[@]}"
check digit-after-CR '>s\rACGT\rAC1\r' "${exact[@]}"
check hash-in-sequence '>s\nACGT\n>t\nAC#GT\n' "${exact[@]}"
check hash-between-records '# comments may lead the file\n>a\nACACACACACAC\n#c\n>b\nACGT\n' "${exact[@]}"
check outside-range '>r1\nACACACACACAC\n>r2\nAC1\n>r3\nACGT\n' --lastSeq 1 "${exact[@]}"
# On several threads the records before the invalid one (record i holds
# AC x (5 + i)), searched side by side, are all reported before the read error.
ZERLAN_THREADS=3 check read-error-threads \
  "=for i in {1..6}; do printf '>r%d\n' \$i; printf 'AC%.0s' \$(seq \$((5 + i))); echo; done; printf '>r7\nAC1\n'" "${exact[@]}"
# Byte 1,000,000 ends the first block: a CR there, with and without LF after it.
check CRLF-across-blocks "=printf '>s\r\n'; repeat C 999995; printf '\r\nGT\r\nA1\r\n'" "${exact[@]}"
check CR-across-blocks "=printf '>s\n'; repeat C 999996; printf '\rGT\r1\r'" "${exact[@]}"
check record-across-blocks "=printf '>a\n'; repeat A 999996; printf '\n>b\nC\n'" -M exact --outputFormat 2 in.fa

for text in '>r1 first\nACAC\nACAC\nacac\n\n>r2\nGGGG\nGGGG\n' '>r1 first\r\nACAC\r\nACAC\r\nacac\r\n\r\n>r2\r\nGGGG\r\nGGGG\r\n' \
  '>r1 first\rACAC\rACAC\racac\r\r>r2\rGGGG\rGGGG\r' '>r1 first\nACAC\nACAC\nacac\n\n>r2\nGGGG\nGGGG'; do
  check line-breaks "$text" "${exact[@]}"
done
# Two gzip members read as one text; a damaged checksum is found only at the end.
check line-breaks "=printf '>r1 first\nACAC\nACAC\n' | gzip -n; printf 'acac\n\n>r2\nGGGG\nGGGG\n' | gzip -n" "${exact[@]}"
check gzip-cut-short "=printf '>r1 first\nACAC\nACAC\nacac\n' | gzip -n | head -c 15" "${exact[@]}"
check gzip-damaged "=printf '>r1 first\nACAC\nACAC\nacac\n' | gzip -n | perl -0777 -pe 'substr(\$_, -8, 1) ^= \"Z\"'" "${exact[@]}"

# A lone '>' at the end is one more record, with an empty header and no
# residues; the input ends before the header is split, so the short name
# is still that of the record before.
check lone-header-mark '>s\nACACACACACAC\n>' -M exact --outputFormat 0 --printRepeatSeqMode 0 in.fa
# A directory, or anything else that is no file, pipe or character device,
# cannot be opened as input; the report file is not even created.
check input-directory "=mkdir folder" folder report.txt
# A read that fails midway (here with an I/O error from the kernel) ends the
# run with the system's reason, as a damaged gzip stream does.
check read-failure '>r1\nACACACACACAC\n' /proc/self/mem
check disk-full '>r1\nACACACACACAC\n' in.fa /dev/full
finish
