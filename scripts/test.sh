#!/usr/bin/env bash
# test.sh
# Installs what is missing, builds, and runs every test: as people run the module, then under the sanitizers, whose build
# also fuzzes what reads files, 20 seconds each from the inputs that are kept.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh binutils doxygen pkg-config dpkg-dev file mandoc chromium chromium-driver python3-selenium \
  fonts-dejavu-core snakemake clang-14 libclang-rt-14-dev

for preset in release asan; do
  echo "== $preset: building"
  cmake --preset "$preset" -DORIDAN_WERROR=ON >/dev/null
  cmake --build --preset "$preset"
  echo "== $preset: testing"
  ctest --preset "$preset" -j "$(nproc)"
done

echo "== asan: fuzzing"
FUZZ_BUILD=build/asan scripts/fuzz.sh 20s
