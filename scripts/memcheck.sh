#!/usr/bin/env bash
# memcheck.sh
# Runs every test program under valgrind's memcheck. Any error, and any block that is definitely lost, fails.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh valgrind
cmake --preset release >/dev/null
cmake --build --preset release
status=0
for program in $(find build/release/tests -name '*_test' -type f -perm -u+x | sort); do
  printf '%s ... ' "${program##*/}"
  log=$(mktemp)
  # Children of death tests end in the middle of their work: they are followed for errors of the test itself only.
  if (cd "$(dirname "$program")" && valgrind -q --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite \
      --child-silent-after-fork=yes --suppressions="$OLDPWD/scripts/valgrind.supp" "./${program##*/}" \
      --gtest_brief=1 >"$log" 2>&1); then
    echo "clean"
  else
    echo "FAILED"
    tail -40 "$log"
    status=1
  fi
  rm -f "$log"
done
exit $status
