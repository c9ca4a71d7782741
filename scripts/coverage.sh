#!/usr/bin/env bash
# coverage.sh [PROGRAM...]
# Which lines of the module the tests run: builds with counters into build/coverage, runs every test program (or those
# named) once with each instruction set, prints lines covered per folder and file and every line that is not, and fails
# below 95 % in all. Counters are kept in mapped files: they survive _exit, abort and SIGKILL of the tests' children.
set -euo pipefail
cd "$(dirname "$0")/.."
required=95
scripts/setup.sh clang-14 llvm-14 libclang-rt-14-dev
build=${BUILD:-$PWD/build/coverage}
counters="-fprofile-instr-generate -fcoverage-mapping -mllvm -runtime-counter-relocation"
quiet=-Wno-unused-command-line-argument # the linker's driver has no use for the last of these
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=clang++-14 \
  -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1" -DCMAKE_CXX_FLAGS="$counters" \
  -DCMAKE_EXE_LINKER_FLAGS="$quiet" -DCMAKE_MODULE_LINKER_FLAGS="$quiet" -DCMAKE_SHARED_LINKER_FLAGS="$quiet" >/dev/null
cmake --build "$build" --target ${*:-all} OridanArtifactRemoval

profiles=$build/profiles
rm -rf "$profiles"
mkdir -p "$profiles"
programs=()
while read -r program; do
  name=${program##*/}
  [ $# -eq 0 ] || [[ " $* " == *" $name "* ]] || continue
  programs+=("$program")
done < <(find "$build/tests" -name '*_test' -type f -perm -u+x | sort)

status=0
for set in baseline avx2 avx512; do
  echo "== $set"
  for program in "${programs[@]}"; do
    log=$(mktemp)
    if ! (cd "$(dirname "$program")" && ORIDAN_INSTRUCTION_SET=$set LLVM_PROFILE_FILE="$profiles/%c%m.profraw" \
        "./${program##*/}" --gtest_brief=1 >"$log" 2>&1); then
      echo "${program##*/}: FAILED"
      grep -E '^\[  FAILED|Failure$' "$log" | sort -u | head -20
      status=1
    fi
    rm -f "$log"
  done
done

llvm-profdata-14 merge -sparse "$profiles"/*.profraw -o "$build/all.profdata"
objects=("$build/OridanArtifactRemoval.so")
for program in "${programs[@]}"; do
  objects+=(-object "$program")
done
for program in "$build/workbench/workbench" "$build/tools/ctc"; do
  [ $# -eq 0 ] && objects+=(-object "$program")
done
llvm-cov-14 export "${objects[@]}" -instr-profile="$build/all.profdata" -format=lcov -skip-expansions \
  numerics stats fileio obs plugin >"$build/coverage.lcov"

# One row per file and folder; a line counts as covered where any build of it ran it.
awk -v top="$PWD/" -v required=$required '
  /^SF:/ { file = substr($0, 4); sub("^" top, "", file); next }
  /^DA:/ {
    split(substr($0, 4), field, ",")
    line = file ":" field[1]
    if (!(line in known)) { known[line] = 1; order[++count] = line; fileOf[line] = file }
    if (field[2] > 0) ran[line] = 1
  }
  END {
    for (i = 1; i <= count; i++) {
      line = order[i]; file = fileOf[line]; folder = file; sub("/[^/]*$", "", folder)
      for (name in names) delete names[name]
      names[file]; names[folder "/"]; names["in all"]
      for (name in names) { lines[name]++; if (line in ran) covered[name]++ }
      if (!(line in ran)) missing[++gaps] = line
    }
    sorted = "sort -k1,1"
    print "lines covered"
    for (name in lines) if (name != "in all")
      printf "%-36s %5d of %5d  %6.2f %%\n", name, covered[name], lines[name], 100 * covered[name] / lines[name] | sorted
    close(sorted)
    share = 100 * covered["in all"] / lines["in all"]
    printf "%-36s %5d of %5d  %6.2f %%\n", "in all", covered["in all"], lines["in all"], share
    print "\nlines not covered: " gaps + 0
    for (i = 1; i <= gaps; i++) {
      split(missing[i], place, ":")
      text = ""; number = 0
      while ((getline source < place[1]) > 0) if (++number == place[2] + 0) { text = source; break }
      close(place[1])
      print missing[i] ": " text
    }
    if (share < required) { print "below " required " %"; exit 1 }
  }' "$build/coverage.lcov" || status=1
exit $status
