#!/bin/bash
# The oracle corpus in oracle/ (see its README): FASTA inputs and what the
# search must give for them, computed by an independent implementation. Every
# case runs on 1 and on 3 threads and must give the same bytes: report,
# masked file, standard output, standard error and exit status. On standard
# error the progress times are masked and only the first progress line of
# each record is kept; the timed ones depend on speed.
set -uo pipefail
: "${ZERLAN:?set ZERLAN to the zerlan binary}"
corpus=$(cd "$(dirname "$0")/oracle" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

cases=$(python3 -c 'import json, sys
for c in json.load(open(sys.argv[1])): print(c["name"], c["input"], *c["options"], sep="\t")' "$corpus/cases.json") || exit 1
while IFS=$'\t' read -r -a fields; do
  name=${fields[0]} input=${fields[1]} expected=$corpus/expected/${fields[0]}
  for threads in 1 3; do
    dir=$work/run
    rm -rf "$dir" && mkdir "$dir" && cp "$corpus/inputs/$input" "$dir"
    (cd "$dir" && ZERLAN_THREADS=$threads "$ZERLAN" "${fields[@]:2}" "$input" report.txt > stdout 2> console
     echo $? > status)
    sed -E 's/^[0-9][0-9]\.[0-9][0-9]\.[0-9][0-9] - /HH.MM.SS - /' "$dir/console" |
      awk '!/^HH\.MM\.SS - # / || !seen[$4]++' > "$dir/stderr"
    mv "$dir/report.txt" "$dir/report"
    [ -e "$dir/$input.masked" ] && mv "$dir/$input.masked" "$dir/masked"
    for f in status stderr report masked stdout; do
      # Absent from the corpus: the run must leave the file out, or empty.
      if [ -e "$expected/$f" ] && cmp -s "$expected/$f" "$dir/$f"; then continue; fi
      if [ ! -e "$expected/$f" ] && [ ! -s "$dir/$f" ]; then continue; fi
      echo "FAILED: $name on $threads threads, $f: $(diff "$expected/$f" "$dir/$f" 2>&1 | head -6)"
      failed=$((failed + 1))
    done
  done
done <<< "$cases"
[ $failed -eq 0 ] && echo "all $(wc -l <<< "$cases") cases of the corpus pass on 1 and 3 threads"
exit $((failed > 0))
