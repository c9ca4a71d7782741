#!/usr/bin/env bash
# manual.sh [BUILD_FOLDER]
# Makes the reference manual from the public headers: BUILD_FOLDER/manual/html/index.html (default build/release).
# A public routine, parameter or result without a word of documentation is an error.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/release}
command -v doxygen >/dev/null || { echo "manual: doxygen is missing; scripts/setup.sh doxygen installs it" >&2; exit 1; }
mkdir -p "$build"
output=$(cd "$build" && pwd)/manual
rm -rf "$output"
mkdir "$output"

version=$(sed -nE 's/^project\(.* VERSION ([0-9.]+).*/\1/p' "$root/CMakeLists.txt")
input="\"$root/docs/library.md\""
while read -r header; do
  input+=" \"$root/$header\""
done <"$root/cmake/public_headers.txt"
sed -e "s|@VERSION@|$version|; s|@OUTPUT@|$output|; s|@SOURCE@|$root|; s|@INPUT@|$input|" "$root/docs/Doxyfile.in" \
  >"$output/Doxyfile"
doxygen "$output/Doxyfile" || { rm -rf "$output"; echo "manual: not made, see above" >&2; exit 1; }
echo "The manual is $output/html/index.html"
