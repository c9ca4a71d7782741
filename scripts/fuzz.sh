#!/usr/bin/env bash
# fuzz.sh MINUTES [TARGET...]
# fuzz.sh SECONDSs [TARGET...]
# Runs each fuzz target that long under the address and undefined-behaviour sanitizers, from the inputs kept in
# fuzz/corpus. New inputs that reach new code go to build/fuzz/corpus; an input that breaks something is kept in
# build/fuzz/broken, its name is printed, and the exit status is 1.
#   scripts/fuzz.sh --keep   makes fuzz/corpus anew from both folders, with as few and small inputs as reach the same code
set -euo pipefail
cd "$(dirname "$0")/.."
all=(ctc tfd cvx text transio protocol import execute)
[ $# -ge 1 ] || { sed -n '2,7s/^# \{0,1\}//p' "$0" >&2; exit 2; }
length=$1
shift
targets=("${@:-${all[@]}}")
[ $# -gt 0 ] || targets=("${all[@]}")
scripts/setup.sh clang-14 libclang-rt-14-dev >/dev/null

build=build/fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "${targets[@]/#/fuzz_}" >"$build/fuzz.log" 2>&1 || { tail -20 "$build/fuzz.log" >&2; exit 1; }
scratch=$(mktemp -d "${TMPDIR:-/tmp}/fuzz_XXXXXX")
trap 'rm -rf "$scratch"' EXIT
export TMPDIR=$scratch ASAN_OPTIONS=allocator_may_return_null=1:max_allocation_size_mb=256

if [ "$length" = --keep ]; then
  for target in "${targets[@]}"; do
    mkdir -p "$build/corpus/$target" "fuzz/corpus/$target" "$scratch/$target"
    "$build/fuzz/fuzz_$target" -merge=1 -close_fd_mask=3 -rss_limit_mb=2048 -malloc_limit_mb=0 "$scratch/$target" \
      "fuzz/corpus/$target" "$build/corpus/$target" >/dev/null 2>&1
    # Small inputs first, at most 100 of them.
    rm -rf "fuzz/corpus/$target"
    mkdir -p "fuzz/corpus/$target"
    find "$scratch/$target" -type f -size -8 -printf '%s %p\n' | sort -n | head -100 | while read -r _ input; do
      cp "$input" "fuzz/corpus/$target/"
    done
    echo "$target: $(find "fuzz/corpus/$target" -type f | wc -l) inputs"
  done
  exit 0
fi

case $length in
  *s) seconds=${length%s} ;;
  *) seconds=$((length * 60)) ;;
esac
status=0
echo "| target | inputs tried | per second | places reached | broken |"
echo "|---|---|---|---|---|"
for target in "${targets[@]}"; do
  mkdir -p "$build/corpus/$target" "$build/broken/$target" "fuzz/corpus/$target"
  log=$scratch/$target.log
  broken=0
  timeout $((seconds + 300)) "$build/fuzz/fuzz_$target" "$build/corpus/$target" "fuzz/corpus/$target" -max_len=8192 \
    -max_total_time="$seconds" -rss_limit_mb=2048 -malloc_limit_mb=0 -timeout=60 -close_fd_mask=1 -print_final_stats=1 \
    -artifact_prefix="$build/broken/$target/" >"$log" 2>&1 || broken=1
  number() { grep -aoE "$1[ :]+[0-9]+" "$log" | tail -1 | grep -oE '[0-9]+$' || echo 0; }
  echo "| $target | $(number number_of_executed_units) | $(number average_exec_per_sec) | $(number cov) | $broken |"
  if [ $broken -ne 0 ]; then
    status=1
    grep -aE 'broken promise|ERROR|runtime error|SUMMARY|Test unit written' "$log" | head -5 >&2
  fi
done
exit $status
