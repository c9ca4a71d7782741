#!/usr/bin/env bash
# runs_at_load.sh MODULE EMPTY_MODULE
# Nothing runs when the module is loaded but what every library runs (the empty one's count) and the initialisation of
# the standard streams, at most one for each source that includes them.
set -euo pipefail
module=$1 empty=$2
initialisers() { readelf -dW "$1" | awk '/INIT_ARRAYSZ/ { bytes = $(NF - 1) } END { print bytes / 8 }'; }
symbols=$(nm "$module" 2>&1)
if grep -qE '__asan|__ubsan|__tsan|__gcov|__llvm_prof|__sanitizer|no symbols' <<< "$symbols"; then
  echo "skipped: instrumented or stripped"
  exit 77
fi
streams=$(grep -c ' _ZStL8__ioinit$' <<< "$symbols" || true)
allowed=$(($(initialisers "$empty") + streams))
found=$(initialisers "$module")
if [ "$found" -gt "$allowed" ]; then
  echo "$found initialisers run at load, $allowed are those of the streams and of every library:" >&2
  grep -E '_GLOBAL__sub_I|__cxx_global_var_init' <<< "$symbols" >&2
  exit 1
fi
if grep -E '^[0-9a-f]+ i ' <<< "$symbols" >&2; then
  echo "these functions choose themselves at load" >&2
  exit 1
fi
echo "$found initialisers, $streams of them of the streams"
