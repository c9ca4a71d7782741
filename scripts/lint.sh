#!/usr/bin/env bash
# lint.sh [FILE.cpp...]
# Looks at the module, the workbench, the tools and the fuzz targets (or the files named) with clang-tidy and cppcheck.
# What is left out stands, with why, in .clang-tidy and scripts/cppcheck.supp; single places carry NOLINT with a reason.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh clang-14 clang-tidy-14 cppcheck libclang-rt-14-dev >/dev/null

build=build/lint
cmake --preset fuzz -B "$build" >/dev/null
# The page of a report is written into a source by the build.
cmake --build "$build" --target workbench_report >/dev/null
folders=(numerics stats fileio obs plugin workbench tools fuzz)
if [ $# -gt 0 ]; then files=("$@"); else mapfile -t files < <(find "${folders[@]}" -name '*.cpp' | sort); fi

status=0
echo "== clang-tidy: ${#files[@]} files"
printf '%s\0' "${files[@]}" |
  xargs -0 -n 1 -P "$(nproc)" clang-tidy-14 -p "$build" --quiet 2> >(grep -vE '^[0-9]+ warnings? (generated|treated)|^Suppressed|^Use -header' >&2) ||
  status=1
echo "== cppcheck"
cppcheck --quiet --std=c++20 --language=c++ --enable=warning,performance,portability --inline-suppr \
  --suppressions-list=scripts/cppcheck.supp --error-exitcode=1 -j "$(nproc)" -I . -DORIDAN_X86_KERNELS "${files[@]}" ||
  status=1
[ $status -eq 0 ] && echo "nothing found"
exit $status
