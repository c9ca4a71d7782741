#!/usr/bin/env bash
# large.sh
# Cleans long and wide recordings (3 GB of interleaved samples, 2,000 channels, sample values beyond the 2^31st), and
# compares every cleaned sample with that of a small recording. Prints time and peak memory; fails above 96 MiB.
# Takes 5 GB of the temporary folder (TMPDIR) for some minutes.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
build=${BUILD:-$PWD/build/release}
if [ -z "${BUILD:-}" ]; then
  cmake --preset release >/dev/null
fi
cmake --build "$build" --target faults_test module_alone_test
FAULTS_LARGE=1 "$build/tests/faults/faults_test" --gtest_filter='Large.*:Huge.*'
"$build/tests/faults/module_alone_test"
