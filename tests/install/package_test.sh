#!/usr/bin/env bash
# package_test.sh BUILD
# Makes the packages in a folder of its own, looks into them, and runs what they hold from where it was unpacked.
set -euo pipefail
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "package_test: $*" >&2; exit 1; }

# What is built is packed as it is: ctest runs within a build.
cpack --config "$build/CPackConfig.cmake" -B "$work/packages" -D CPACK_CMAKE_GENERATOR=Ninja >"$work/log" 2>&1 ||
  { tail -20 "$work/log" >&2; fail "cpack"; }
deb=$(echo "$work"/packages/oridan_*.deb)
archive=$(echo "$work"/packages/oridan-*.tar.gz)
[ -s "$deb" ] && [ -s "$archive" ] || fail "a .deb and a .tar.gz: $(ls "$work/packages")"

# The Debian package names itself, its section, and the libraries that its programs load.
field() { dpkg-deb --field "$deb" "$1"; }
[ "$(field Package)" = oridan ] || fail "its name is $(field Package)"
[ "$(field Section)" = science ] || fail "its section is $(field Section)"
[ "$(field Architecture)" = "$(dpkg --print-architecture)" ] || fail "its architecture is $(field Architecture)"
for library in libc6 libstdc++6 libopenblas0; do
  field Depends | grep -F "$library" >/dev/null || fail "it does not depend on $library: $(field Depends)"
done
dpkg-deb -x "$deb" "$work/deb"
mkdir "$work/archive"
tar -xzf "$archive" -C "$work/archive" --strip-components=1

# Both hold the same files; Debian's under /usr.
diff <(cd "$work/deb/usr" && find . ! -type d | LC_ALL=C sort) <(cd "$work/archive" && find . ! -type d | LC_ALL=C sort) \
  >"$work/diff" || { cat "$work/diff" >&2; fail "the packages differ"; }
for file in bin/workbench bin/ctc lib/oridan/OridanArtifactRemoval.so lib/liboridan.so include/oridan/fileio/ctc.h \
  share/doc/OridanArtifactRemoval/README.md share/doc/OridanArtifactRemoval/docs/method.md share/doc/oridan/copyright \
  share/doc/OridanArtifactRemoval/docs/pictures/components.png share/man/man1/workbench-run.1.gz share/man/man1/ctc.1.gz \
  share/bash-completion/completions/workbench share/zsh/vendor-completions/_workbench \
  share/fish/vendor_completions.d/workbench.fish share/doc/OridanArtifactRemoval/workflow/Snakefile; do
  [ -s "$work/deb/usr/$file" ] || fail "$file is missing"
done

# Every command has its manual page, which the formatter takes without a complaint.
cd "$work/deb/usr/share/man/man1"
for program in workbench ctc; do
  while read -r command; do
    [ -s "$program-$command.1.gz" ] || fail "$program-$command has no manual page"
  done < <("$work/deb/usr/bin/$program" complete -- '' | tail -n +2 | cut -f 1)
done
gunzip -k ./*.gz
mandoc -Tlint -Wwarning ./*.1 || fail "the manual pages"

# Unpacked anywhere, it cleans a recording; pictures and links of the docs lead somewhere.
for place in "$work/deb/usr" "$work/archive"; do
  mkdir "$place/try"
  cd "$place/try"
  "$place/bin/workbench" simulate -o demo.ctc --channels 2 --seconds 20 >/dev/null
  "$place/bin/workbench" run "$place/lib/oridan/OridanArtifactRemoval.so" --data demo.ctc --protocol demo.prt \
    --condition slice --pre 0 --post 64 --segment 50 --components 3 --quiet
  "$place/bin/ctc" info demo_OBS.ctc | grep 'Channels' >/dev/null || fail "nothing was cleaned"
done
cd "$work/deb/usr/share/doc/OridanArtifactRemoval"
for page in README.md docs/*.md; do
  while read -r link; do
    [ -e "$(dirname "$page")/$link" ] || fail "$page: $link is not there"
  done < <(grep -oE '\]\([A-Za-z0-9_./-]+' "$page" | cut -c3- | grep -vE '^https?$|^examples/$|CONTRIBUTING.md$')
done
echo "packed, unpacked, used"
