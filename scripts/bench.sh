#!/usr/bin/env bash
# bench.sh [--quick]
# Measures single routines and whole runs beside well-known software and prints the tables of docs/performance.md.
# Installs and builds what is missing first. --quick takes less than two minutes after that, and its figures are rough.
# The recordings (1 GB) are made in a folder of their own under TMPDIR, which should be on a local disk.
set -euo pipefail
case $#:${1:-} in
  0: | 1:--quick) ;;
  *) sed -n '2,6s/^# \{0,1\}//p' "$0" >&2; exit 2 ;;
esac
cd "$(dirname "$0")/.."
scripts/setup.sh libbenchmark-dev libfftw3-dev libgtest-dev python3-numpy python3-scipy

build=$PWD/build/bench
mkdir -p "$build"
{ cmake --preset release -B "$build" -DORIDAN_BENCH=ON -DORIDAN_TESTS=OFF && cmake --build "$build" \
  --target bench_routines run_obs module_with_probes workbench OridanArtifactRemoval; } \
  >"$build/bench.log" 2>&1 || { tail -20 "$build/bench.log" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
/usr/bin/python3 -B bench/measure.py "$build" "$work" "$@" >"$work/tables.md"
cp "$work/tables.md" "$build/tables.md"
cat "$build/tables.md"
