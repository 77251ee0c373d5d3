# End-to-end cases, sourced by one script per area. Each case runs the zerlan
# binary in a scratch directory on a small FASTA file and compares what the
# run left behind with the section of the area's golden file (NAME.golden
# beside the script) that bears the case's name:
#   === name: status N
#   the report on standard output, without the head block (creator lines,
#   settings and column legend), which the "full" cases keep
#   --- stderr: standard error after the progress header (or after the banner
#   when there is none), progress times masked; "full" cases keep all of it
#   --- FILE: every file the run wrote beside in.fa, the report head removed
# Cases may share a section when they must give the same result.
set -uo pipefail
: "${ZERLAN:?set ZERLAN to the zerlan binary}"
golden=${0%.sh}.golden
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# CHAR repeated N times, for inputs too long to write out.
repeat() { head -c "$2" /dev/zero | tr '\0' "$1"; }

strip_head() {
  if [ -n "${full:-}" ]; then cat; return; fi
  awk 'NR == 1 && !/^# Results computed with:/ { h = 2 }
       h < 2 { if (/Convert gaps and/) h = 1; else if (h == 1 && !/^# $|^# Column|^seq-name\t/) h = 2 }
       h == 2'
}

strip_console_head() {
  if [ -n "${full:-}" ]; then cat "$1"
  elif grep -q '^-\{72\}$' "$1"; then sed '1,/^-\{72\}$/d' "$1"
  else sed '1,5d' "$1"; fi | sed -E 's/^[0-9]{2,}\.[0-9]{2}\.[0-9]{2} - #/TT.TT.TT - #/'
}

# Shows a file through a filter, marking a last line without line break.
show() {
  "${@:2}" < "$1" | head -n "${lines:-1000}"
  [ -s "$1" ] && [ -n "$(tail -c 1 "$1")" ] && echo "(no line break at the end)"
}

# check NAME INPUT ARGS...: INPUT is the content of in.fa in printf notation,
# or, after a leading '=', a command whose standard output becomes in.fa.
check() {
  local name=$1 input=$2 dir=$work/run
  shift 2
  rm -rf "$dir" && mkdir "$dir"
  if [[ $input == =* ]]; then (cd "$dir" && eval "${input#=}") > "$dir/in.fa"; else printf "$input" > "$dir/in.fa"; fi
  (cd "$dir" && exec -a zerlan "$ZERLAN" "$@" > "$work/out" 2> "$work/err" < /dev/null)
  local status=$?
  {
    echo "=== $name: status $status"
    show "$work/out" strip_head
    echo "--- stderr"
    strip_console_head "$work/err" | head -n "${lines:-1000}"
    for f in "$dir"/*; do
      [ "${f##*/}" != in.fa ] && [ -f "$f" ] && echo "--- ${f##*/}" && show "$f" strip_head
    done
  } > "$work/got"
  awk -v head="=== $name: " '/^=== / { on = index($0, head) == 1 } on' "$golden" > "$work/expected"
  if ! diff -u "$work/expected" "$work/got"; then
    echo "FAILED: $name (zerlan $*)"
    failed=$((failed + 1))
  fi
}

finish() {
  [ $failed -eq 0 ] && echo "all cases of ${0##*/} pass"
  exit $((failed > 0))
}
