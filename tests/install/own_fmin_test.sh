#!/usr/bin/env bash
# own_fmin_test.sh PROGRAM...
# A program that exports fmin puts the library's, which differs for NaN, in the place of the C library's for every shared
# library that it uses.
set -euo pipefail
holders=0
for program in "$@"; do
  if nm "$program" | grep -w fmin >/dev/null; then
    holders=$((holders + 1))
  fi
  if nm -D --defined-only "$program" | grep -w fmin; then
    echo "$program exports fmin" >&2
    exit 1
  fi
done
[ $holders -gt 0 ] || { echo "none of these programs holds the library's fmin: this test is void" >&2; exit 1; }
