#!/usr/bin/env bash
# check_exports.sh LIBRARY LIST [EXCEPT]
# Compares the symbols that a shared library exports (demangled, sorted) with the list kept in the repository, less the
# names of the file EXCEPT.
# To accept a change: scripts/check_exports.sh MODULE --print > tests/exported/exports.txt
set -euo pipefail
module=$1 list=$2 except=${3:-/dev/null}
listed() { LC_ALL=C sort "$list" | LC_ALL=C comm -23 - <(LC_ALL=C sort "$except"); }
exported() {
  # What a sanitizer build adds of its own does not count.
  nm -D --defined-only -C "$module" | cut -d' ' -f3- | grep -vE '^(__asan|__odr_asan|__ubsan|__sanitizer|__start_|__stop_)' |
    LC_ALL=C sort
}
if [ "$list" = --print ]; then
  exported
  exit 0
fi
if ! diff <(listed) <(exported); then
  echo "$module does not export what $list says (< listed, > exported)" >&2
  exit 1
fi
echo "$(listed | wc -l) exported symbols, all as listed"
