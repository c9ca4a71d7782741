#!/usr/bin/env bash
# release.sh [FOLDER]
# Makes a release of the last commit in FOLDER (default build/release-VERSION): a package for Debian, an archive for other
# systems, the sources, and SHA256SUMS of the three. Everything is made from a clean clone, so that nothing that lies
# about gets in; the dates inside are the commit's.
#   scripts/release.sh --twice   makes it twice, in folders of different names and depths, at different times, with another
#                                umask, language, time zone and number of jobs, and compares the bytes
set -euo pipefail
cd "$(dirname "$0")/.."
top=$PWD
version=$(sed -nE 's/^project\(.* VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
scripts/setup.sh dpkg-dev file

# The clone and the build are made in WORK, the files of the release land in OUT.
make_release() { # WORK OUT
  git clone --quiet --no-hardlinks "$top" "$1/source"
  SOURCE_DATE_EPOCH=$(git -C "$1/source" log -1 --format=%ct)
  export SOURCE_DATE_EPOCH
  cmake -S "$1/source" -B "$1/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-O2 \
    -DORIDAN_TESTS=OFF >"$1/log" 2>&1 &&
    cmake --build "$1/build" >>"$1/log" 2>&1 &&
    (cd "$1/build" && cpack) >>"$1/log" 2>&1 || { tail -20 "$1/log" >&2; exit 1; }
  mkdir -p "$2"
  cp "$1/build"/*.deb "$1/build"/*.tar.gz "$2/"
  git -C "$1/source" archive --format=tar --prefix="oridan-$version/" HEAD | gzip -9n >"$2/oridan-$version-source.tar.gz"
  (cd "$2" && sha256sum -- *.deb *.tar.gz >SHA256SUMS)
}

work=$(mktemp -d "${TMPDIR:-/tmp}/release_XXXXXX")
trap 'rm -rf "$work"' EXIT
if [ "${1:-}" = --twice ]; then
  mkdir -p "$work/first" "$work/second/in/a folder of another name"
  echo "first ..."
  (umask 022; export LC_ALL=C.UTF-8 TZ=UTC; make_release "$work/first" "$work/one")
  echo "second ..."
  (umask 077; export LC_ALL=C TZ=Asia/Tokyo CMAKE_BUILD_PARALLEL_LEVEL=2 CCACHE_DISABLE=1
    make_release "$work/second/in/a folder of another name" "$work/two")
  cat "$work/one/SHA256SUMS"
  if ! diff -r "$work/one" "$work/two"; then
    echo "release: the two differ" >&2
    exit 1
  fi
  echo "the same bytes twice"
  exit 0
fi

out=${1:-build/release-$version}
[ -e "$out" ] && { echo "release: $out exists; remove it or name another folder" >&2; exit 1; }
make_release "$work" "$work/files"
mkdir -p "$(dirname "$out")"
cp -r "$work/files" "$out.part"
mv "$out.part" "$out"
cat "$out/SHA256SUMS"
echo "The release is in $out"
