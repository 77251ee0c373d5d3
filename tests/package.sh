#!/bin/bash
# The Debian package built by CPack from the build folder: its name, the
# files it holds in their Debian places, dependencies computed from the
# binary's shared libraries, a binary that runs, and no lintian errors.
# Needs BUILD (the build folder) and VERSION (the project version) in the environment.
set -uo pipefail

: "${BUILD:?set BUILD to the build folder}"
: "${VERSION:?set VERSION to the project version}"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "FAIL: $*"
  exit 1
}

cpack --config "$BUILD/CPackConfig.cmake" -G DEB -B "$work" > "$work/cpack.log" 2>&1 ||
  fail "cpack -G DEB failed: $(tail -5 "$work/cpack.log")"
deb=$work/zerlan_${VERSION}_$(dpkg --print-architecture).deb
[ -f "$deb" ] || fail "no $(basename "$deb"); cpack wrote: $(ls "$work")"

dpkg-deb --contents "$deb" | awk '{ print $NF }' > "$work/contents"
for file in ./usr/bin/zerlan ./usr/share/man/man1/zerlan.1.gz ./usr/share/doc/zerlan/copyright \
            ./usr/share/doc/zerlan/changelog.gz ./usr/bin/zerlan-convert ./usr/share/man/man1/zerlan-convert.1.gz; do
  grep -qxF "$file" "$work/contents" || fail "the package lacks $file"
done

depends=$(dpkg-deb --field "$deb" Depends)
for library in libc6 zlib1g libstdc++6 libhts3; do
  [[ ", $depends" == *", $library "* ]] || fail "Depends lacks $library: $depends"
done

dpkg-deb -x "$deb" "$work/root"
# Read whole: grep -q would stop reading early, and the writer's broken pipe
# would fail the pipeline.
[[ $("$work/root/usr/bin/zerlan" --version 2> /dev/null) == *"$VERSION."* ]] || fail "the packaged binary does not run"
[[ $("$work/root/usr/bin/zerlan-convert" --version 2> /dev/null) == *"$VERSION"* ]] || fail "the packaged zerlan-convert does not run"
[[ $(zcat "$work/root/usr/share/doc/zerlan/changelog.gz" | head -1) == *"zerlan ($VERSION)"* ]] ||
  fail "the changelog does not start with version $VERSION"

# Errors fail the test; warnings and notes are shown.
lintian --fail-on error --info "$deb" 2>&1 | grep -v 'root privileges' | tee "$work/lintian"
[ "${PIPESTATUS[0]}" = 0 ] || fail "lintian reports errors"
echo "ok: $(basename "$deb") holds $(grep -c '[^/]$' "$work/contents") files; lintian: $(grep -c '^E:' "$work/lintian") errors, $(grep -c '^W:' "$work/lintian") warnings"
