#!/usr/bin/env bash
# hostile_names_complete.sh PROGRAM LIST
# The hostile host has a function or variable of its own for every name of LIST but the plug-in's entry points, which are
# looked up in the module and never called by it.
set -euo pipefail
missing=$(LC_ALL=C comm -13 <(nm -D --defined-only -C "$1" | cut -d' ' -f3- | LC_ALL=C sort) \
  <(grep -vE '^(createPlugin|get[A-Z][A-Za-z]*)$' "$2" | LC_ALL=C sort))
[ -z "$missing" ] || { echo "the hostile host lacks: $missing" >&2; exit 1; }
