#!/bin/bash
# The man page must document every option of `zerlan --help` with the help
# text word for word, and no long option that the program lacks.
# Needs ZERLAN (the binary) and MANPAGE (doc/zerlan.1) in the environment.
set -uo pipefail

: "${ZERLAN:?set ZERLAN to the zerlan binary}"
: "${MANPAGE:?set MANPAGE to doc/zerlan.1}"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

if ! "$ZERLAN" --help > "$work/help" 2>/dev/null; then
  echo "FAIL: $ZERLAN --help did not succeed"
  exit 1
fi

# One entry per option: "long-name<TAB>help text", with "(file names)" as the
# name of the unlabelled file-name argument. An entry starts with a line
# indented by three blanks and beginning with '-' or '<'; its wrapped heading
# goes on with six blanks, its help text with five. The usage library breaks
# lines at blanks (dropped) and before ',' and '|' (kept), so a continuation
# line starting with one of those joins without a blank.
awk '
  function flush() {
    if (heading != "") {
      long = "(file names)"
      if (match(heading, /--[A-Za-z][A-Za-z0-9_]*/))
        long = substr(heading, RSTART + 2, RLENGTH - 2)
      gsub(/[ \t]+/, " ", text); sub(/ $/, "", text)
      print long "\t" text
    }
    heading = ""; text = ""
  }
  function join(a, b) {
    if (a == "") return b
    return (b ~ /^[,|]/) ? a b : a " " b
  }
  /^Where:/ { listing = 1; next }
  !listing { next }
  /^   [-<]/ { flush(); sub(/^ +/, ""); heading = $0; next }
  /^      [^ ]/ && heading != "" && text == "" { sub(/^ +/, ""); heading = join(heading, $0); next }
  /^     [^ ]/ && heading != "" { sub(/^ +/, ""); text = join(text, $0); next }
  /^$/ { flush(); next }
  { flush() }
  END { flush() }
' "$work/help" > "$work/options"

if [ "$(wc -l < "$work/options")" -lt 10 ]; then
  echo "FAIL: found only $(wc -l < "$work/options") options in the --help output"
  exit 1
fi

# The man page as plain text: no comments, no macro names, no font changes or
# character escapes, whitespace collapsed to single blanks on one line.
sed -e '/^\.\\"/d' \
    -e 's/^\.[A-Za-z]\+ *//' \
    -e 's/\\-/-/g; s/\\(aq/'"'"'/g; s/\\(dq/"/g; s/\\(ti/~/g; s/\\e/\\/g' \
    -e 's/\\f[BIRP]//g; s/\\f(..//g; s/\\&//g; s/\\%//g; s/\\ / /g' \
    "$MANPAGE" | tr '\n' ' ' | sed 's/[[:space:]]\+/ /g' > "$work/man"

cut -f1 "$work/options" | grep -vxF '(file names)' | sort -u > "$work/help_names"
grep -o -- '--[A-Za-z][A-Za-z0-9_]*' "$work/man" | sed 's/^--//' | sort -u > "$work/man_names"

status=0
while IFS=$'\t' read -r long text; do
  name="--$long"
  [ "$long" = "(file names)" ] && name="the file names"
  if [ "$long" != "(file names)" ] && ! grep -qxF -- "$long" "$work/man_names"; then
    echo "man page lacks option $name"
    status=1
  fi
  if ! grep -qF -- "$text" "$work/man"; then
    echo "man page lacks the help text of $name:"
    echo "    $text"
    status=1
  fi
done < "$work/options"

for extra in $(comm -13 "$work/help_names" "$work/man_names"); do
  echo "man page documents --$extra, which the program does not have"
  status=1
done

[ $status -eq 0 ] && echo "man page agrees with --help ($(wc -l < "$work/help_names") options)"
exit $status
