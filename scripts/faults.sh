#!/usr/bin/env bash
# faults.sh [KILLS]
# What becomes of recordings when a run is killed (KILLS times at random moments, 200 if not said, and at every call
# that changes files), when the disk is full or fails, and when files change under it. Prints a table of faults, trials
# and losses; fails on any loss. As root it tries small disks too, mounted for itself alone.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
build=${BUILD:-$PWD/build/release}
if [ -z "${BUILD:-}" ]; then
  cmake --preset release >/dev/null
fi
cmake --build "$build" --target faults_test

table=$(mktemp)
log=$(mktemp)
trap 'rm -f "$table" "$log"' EXIT
status=0
FAULTS_KILLS=${1:-200} FAULTS_ALL=1 FAULTS_TABLE=$table \
  "$build/tests/faults/faults_test" --gtest_filter='-Large.*:Huge.*' >"$log" 2>&1 || status=1

grep -A1 -E 'Skipped$' "$log" | grep -v -E 'Skipped$|^--$' | sort -u | sed 's/^/not tried: /' || true
awk -F'|' '
  BEGIN { printf "| %-75s | trials | losses |\n|%s|---:|---:|\n", "fault", "---" }
  { printf "| %-75s | %6d | %6d |\n", $1, $2, $3; trials += $2; losses += $3 }
  END { printf "| %-75s | %6d | %6d |\n", "all", trials, losses; exit losses != 0 }' "$table" || status=1
if [ $status -ne 0 ]; then
  grep -v -E '^\[( RUN|       OK|-----)' "$log" | cut -c1-300 | head -100
fi
exit $status
