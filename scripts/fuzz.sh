#!/usr/bin/env bash
# fuzz.sh MINUTES [TARGET...]
# fuzz.sh SECONDSs [TARGET...]
# Runs each fuzz target that long under the address and undefined-behaviour sanitizers, as many at a time as there are
# processors, from the inputs kept in fuzz/corpus. New inputs that reach new code go to build/fuzz/corpus; an input that
# breaks something is kept in build/fuzz/broken, its name is printed, and the exit status is 1.
#   scripts/fuzz.sh --keep [TARGET...]      makes fuzz/corpus anew from both folders: few and small inputs that reach
#                                           the same code
#   scripts/fuzz.sh --coverage [TARGET...]  tells how many lines of the sources a target aims at all its inputs reach
# FUZZ_BUILD names a build folder that has the targets already, in place of build/fuzz.
set -euo pipefail
cd "$(dirname "$0")/.."
[ $# -ge 1 ] || { sed -n '2,10s/^# \{0,1\}//p' "$0" >&2; exit 2; }
length=$1
shift

all=(ctc tfd cvx text transio protocol import execute recording jobs)
targets=("${@:-${all[@]}}")
# The sources that each target aims at.
fields="fileio/header_fields.cpp fileio/save_target.cpp"
lines="workbench/line_reader.cpp workbench/csv_line.cpp workbench/input_file.cpp"
declare -A aims=(
  [ctc]="fileio/ctc*.cpp fileio/transio.cpp $fields"
  [tfd]="fileio/tfd.cpp fileio/stream_values.cpp $fields"
  [cvx]="fileio/cvx.cpp fileio/stream_values.cpp $fields"
  [text]="stats/text_input.cpp"
  [transio]="fileio/transio.cpp"
  [protocol]="workbench/protocol_file.cpp workbench/trigger_table.cpp $lines"
  [import]="workbench/exchange/brainvision_*.cpp workbench/exchange/edf_*.cpp workbench/exchange/*_table.cpp
    workbench/exchange/table_reader.cpp workbench/exchange/text_encoding.cpp workbench/exchange/decimal_number.cpp
    workbench/exchange/binary_file.cpp"
  [execute]="obs/*.cpp plugin/*.cpp"
  [recording]="workbench/recording.cpp workbench/preflight.cpp workbench/window.cpp workbench/comparison*.cpp
    workbench/check/*.cpp tools/*.cpp"
  [jobs]="workbench/batch/jobs_file.cpp workbench/batch/job_l*.cpp workbench/batch/job_record.cpp
    workbench/batch/res*.cpp workbench/batch/summary*.cpp $lines"
)
# These stand beside them and read nothing: command lines, and what writes.
aside='(/command_[a-z]*|_main|_writer|/edf_range)\.cpp$'

# Makes the targets in a folder, with further options for cmake.
build() {
  local folder=$1
  shift
  mkdir -p "$folder"
  [ "$folder" = "${FUZZ_BUILD:-}" ] || cmake --preset fuzz -B "$folder" "$@" >/dev/null
  if ! cmake --build "$folder" --target "${targets[@]/#/fuzz_}" >"$folder/fuzz.log" 2>&1; then
    tail -20 "$folder/fuzz.log" >&2
    exit 1
  fi
}

keep() {
  mkdir -p "$build/corpus/$1" "fuzz/corpus/$1" "$scratch/$1.all" "$scratch/$1"
  find "fuzz/corpus/$1" "$build/corpus/$1" -type f -size -4097c -exec cp -t "$scratch/$1.all" {} +
  "$build/fuzz/fuzz_$1" -set_cover_merge=1 -use_counters=0 -close_fd_mask=3 -rss_limit_mb=2048 -malloc_limit_mb=0 \
    -artifact_prefix="$scratch/" "$scratch/$1" "$scratch/$1.all" >/dev/null 2>&1
  # At most 100. Of the fewest that reach all, the largest reach the most.
  rm -rf "fuzz/corpus/$1"
  mkdir -p "fuzz/corpus/$1"
  find "$scratch/$1" -type f -printf '%s %p\n' | sort -rn | head -100 | while read -r _ input; do
    cp "$input" "fuzz/corpus/$1/"
  done
  echo "$1: $(find "fuzz/corpus/$1" -type f | wc -l) inputs, $(cat "fuzz/corpus/$1/"* | wc -c) bytes"
}

coverage() {
  local folder=build/fuzz_coverage profile=$scratch/$1.profile sources=()
  for source in ${aims[$1]}; do
    sources+=("$PWD/$source")
  done
  mkdir -p "$build/corpus/$1"
  LLVM_PROFILE_FILE=$profile.raw "$folder/fuzz/fuzz_$1" -runs=0 -close_fd_mask=3 -rss_limit_mb=2048 \
    -malloc_limit_mb=0 -artifact_prefix="$scratch/" "fuzz/corpus/$1" "$build/corpus/$1" >/dev/null 2>&1
  llvm-profdata-14 merge "$profile.raw" -o "$profile"
  llvm-cov-14 report "$folder/fuzz/fuzz_$1" -instr-profile="$profile" -ignore-filename-regex="$aside" "${sources[@]}" |
    awk -v target="$1" '$1 == "TOTAL" {
      printf "| %s | %d of %d (%.1f %%) |\n", target, $8 - $9, $8, 100 * ($8 - $9) / $8 }'
}

# Writes a row of the table.
fuzz() {
  local log=$scratch/$1.log broken=0
  mkdir -p "$build/corpus/$1" "$build/broken/$1" "fuzz/corpus/$1"
  timeout $((seconds + 300)) "$build/fuzz/fuzz_$1" "$build/corpus/$1" "fuzz/corpus/$1" -max_len=8192 \
    -max_total_time="$seconds" -rss_limit_mb=2048 -malloc_limit_mb=0 -timeout=60 -close_fd_mask=1 -print_final_stats=1 \
    -artifact_prefix="$build/broken/$1/" >"$log" 2>&1 &
  trap 'kill $!' TERM
  wait $! || broken=1
  number() { grep -aoE "$1[ :]+[0-9]+" "$log" | tail -1 | grep -oE '[0-9]+$' || echo 0; }
  echo "| $1 | $(number number_of_executed_units) | $(number average_exec_per_sec) | $(number cov) | $broken |" \
    >"$scratch/$1.row"
}

build=${FUZZ_BUILD:-build/fuzz}
scratch=$(mktemp -d "${TMPDIR:-/tmp}/fuzz_XXXXXX")
trap 'jobs -rp | xargs -r kill || true; wait; rm -rf "$scratch"' EXIT
export TMPDIR=$scratch ASAN_OPTIONS=allocator_may_return_null=1:max_allocation_size_mb=256
scripts/setup.sh clang-14 libclang-rt-14-dev >/dev/null

case $length in
  --keep)
    build "$build"
    for target in "${targets[@]}"; do keep "$target"; done
    exit ;;
  --coverage)
    scripts/setup.sh llvm-14 >/dev/null
    build build/fuzz_coverage -DCMAKE_CXX_FLAGS_DEBUG=-O0 \
      -DCMAKE_CXX_FLAGS="-fsanitize=fuzzer-no-link -fprofile-instr-generate -fcoverage-mapping"
    echo "| target | lines covered |"
    echo "|---|---:|"
    for target in "${targets[@]}"; do coverage "$target"; done
    exit ;;
  *s) seconds=${length%s} ;;
  *) seconds=$((length * 60)) ;;
esac

build "$build"
for target in "${targets[@]}"; do
  [ "$(jobs -rp | wc -l)" -lt "$(nproc)" ] || wait -n
  fuzz "$target" &
done
wait
echo "| target | inputs tried | per second | places reached | broken |"
echo "|---|---:|---:|---:|---:|"
status=0
for target in "${targets[@]}"; do
  cat "$scratch/$target.row"
  if grep -q '| 1 |$' "$scratch/$target.row"; then
    status=1
    grep -aE 'broken promise|ERROR|runtime error|SUMMARY|Test unit written' "$scratch/$target.log" | head -5 >&2
  fi
done
exit $status
