#!/bin/bash
# The thread count is a speed setting and nothing else: report, masked file,
# console and status are the same bytes for 1, 2, 3 and 7 threads. A record
# over 256 kb is searched by all threads at once in stretches of seeds, the
# others side by side; imperfect repeats and N runs lie all along them, so
# that some cross every stretch boundary. Thread counts that are no whole
# positive number are refused in cli.sh.
source "$(dirname "$0")/lib.sh"
cd "$work" || exit 1

# Records NAME:LENGTH of random residues with an imperfect repeat every 700
# to 2,200 residues: 30 to 1,029 residues of a unit of 1 to 10, with 8%
# substitutions, 1% insertions and 1% deletions, long enough for the walks of
# later seeds to follow earlier ones; now and then 1 to 4 N's. With a third
# field, NAME:LENGTH:satellites, the random residues hold instead a satellite
# array of 3 to 40 kb every 40 to 140 kb, across the stretches of seeds handed to the threads: (AC)n
# with every seventh residue changed, where every seed at a change grows over
# the whole array and the marks of these repeats are set only when read, or
# (ATTCC)n with 10% substitutions, 1% insertions and 1% deletions. Or
# NAME:RESIDUES as given.
planted() {
  awk 'function r(n) { x = x * 16807 % 2147483647; return x % n }
    function put(c) { line = line c; n++; if (n % 70 == 0) { print line; line = "" } }
    BEGIN {
      x = 20261123
      for (a = 1; a < ARGC; a++) {
        split(ARGV[a], f, ":"); print ">" f[1]; n = 0
        if (f[2] !~ /^[0-9]+$/) { print f[2]; continue }
        satellite = f[3] ? 40000 + r(100000) : -1
        while (n < f[2]) {
          if (satellite >= 0 && n >= satellite) {
            kind = r(2); end = n + 3000 + r(37000); satellite = end + 40000 + r(100000)
            for (i = 0; n < end; i++) {
              if (kind == 0) { put(i % 7 == 6 ? "G" : substr("AC", i % 2 + 1, 1)); continue }
              dice = r(100); c = substr("ATTCC", i % 5 + 1, 1)
              if (dice < 10) put(substr("ACGT", r(4) + 1, 1))
              else if (dice == 10) { put(c); put(substr("ACGT", r(4) + 1, 1)) }
              else if (dice != 11) put(c)
            }
          }
          for (g = 700 + r(1500); g; g--) put(substr("ACGT", r(4) + 1, 1))
          if (satellite >= 0) continue
          u = 1 + r(10); copies = 30 + r(1000)
          for (k = 1; k <= u; k++) unit[k] = substr("ACGT", r(4) + 1, 1)
          for (i = 0; i < copies; i++) {
            dice = r(100); c = unit[i % u + 1]
            if (dice < 8) put(substr("ACGT", r(4) + 1, 1))
            else if (dice == 8) { put(c); put(substr("ACGT", r(4) + 1, 1)) }
            else if (dice > 9) put(c)
          }
          if (r(5) == 0) for (k = 1 + r(4); k; k--) put("N")
        }
        if (line != "") print line; line = ""
      }
    }' "$@"
}
records=("long satellite-rich record:300000")
for i in {0..11}; do records+=("short $i:$((500 + i * 1700))"); done
planted "${records[@]}" "only N:NNNNNNNNNN" "tiny:ACGTA" "after:3000" > in.fa
planted "satellite arrays:400000:satellites" > satellites.fa
# An invalid line after records searched side by side.
planted "${records[@]:1}" "invalid:ACGTJ" > invalid.fa

# Runs zerlan OPTIONS on INPUT with 1, 2, 3 and 7 threads and compares
# report, masked file, standard output, console and status with one thread's.
same_for_all_threads() {
  local input=$1 options=$2 threads
  for threads in 1 ${THREAD_COUNTS:-2 3 7}; do
    rm -f "$input.masked" report
    # shellcheck disable=SC2086
    ZERLAN_THREADS=$threads "$ZERLAN" $options "$input" report > out 2> err
    echo "status $?" >> err
    sed -Ei 's/^[0-9]{2,}\.[0-9]{2}\.[0-9]{2} - #/TT.TT.TT - #/' err
    cat out err report "$input.masked" > "$threads.all" 2> /dev/null
    if ! cmp -s 1.all "$threads.all"; then
      echo "FAILED: $input on $threads threads differs from 1 with options \"$options\": $(diff 1.all "$threads.all" | head -5)"
      failed=$((failed + 1))
    fi
  done
}
# The last runs ended with STATUS and reported the record NAME.
reported() {
  if ! grep -q "^status $1$" 1.all || ! grep -q "$2" report; then
    echo "FAILED: not status $1, or no report of $2 with options \"$3\""
    failed=$((failed + 1))
  fi
}

for options in "" "-M extendExact --outputFormat 3" "-M exact --maskX -u 2" \
  "--outputFormat 2 --maskLower -U 14 -R 20 --lastSeq 9"; do
  same_for_all_threads in.fa "$options"
  reported 0 long "$options"
done
for options in "" "-M extendExact --outputFormat 3 --maskLower"; do
  same_for_all_threads satellites.fa "$options"
  reported 0 satellite "$options"
done
same_for_all_threads invalid.fa "-M extendExact"
reported 231 "^>short 11$" "-M extendExact"

# File ends that the reader carries over from the record before: a lone '>'
# as the last byte keeps that record's name (in the progress line and the
# GFF sequence region); a header without residues, a last line without a
# line break, CR line ends.
for text in '>a\nACACACACACACACACACACAC\n>bb\nGTGTGTGTGTGTGTGTGTGTGT\n>' \
  '>a x\r\nACACACACACACAC\r\n>bb\r\nGTGTGTGTGTGTGT\r\n>' '>a\rACACACACACACAC\r>bb y\rGTGTGTGTGT\r>\r' \
  '>a\nACACACACACACAC\n>empty\n>c\nGTGTGTGTGTGTGT' '>a\nACACACACACACAC\n>c\nGTGTGTGTGTGTGT\n>empty'; do
  printf "$text" > in.fa
  for options in "" "--outputFormat 2" "-M exact --outputFormat 3 --maskX"; do
    same_for_all_threads in.fa "$options"
  done
done
finish
