#!/usr/bin/env bash
# check_library_page.sh PAGE LIST ROOT
# The tables of PAGE (docs/library.md) and the exported symbols of LIST name the same routines, each once, and each row's
# headers are public and declare it. A row stands for all overloads: one header for each, or the row says how many.
set -euo pipefail
page=$1 list=$2 root=$3
status=0
fail() { echo "$page: $*" >&2; status=1; }

# name|index base|precision|headers of every row
rows=$(sed -nE 's/^\| `([A-Za-z0-9_]+)` \| ([^|]+) \| ([^|]+) \| ([^|]+) \| ([^|]+) \|$/\1|\2|\3|\4|\5/p' "$page")
[ -n "$rows" ] || { fail "no table rows"; exit 1; }
lines=$(grep -cE '^\| `' "$page")
[ "$lines" -eq "$(wc -l <<<"$rows")" ] || fail "some rows do not have five columns"

listed=$(cut -d'|' -f1 <<<"$rows" | LC_ALL=C sort)
exported=$(sed 's/(.*//' "$list" | LC_ALL=C sort -u)
twice=$(uniq -d <<<"$listed")
[ -z "$twice" ] || fail "more than one row for" $twice
missing=$(LC_ALL=C comm -13 <(sort -u <<<"$listed") <(echo "$exported"))
[ -z "$missing" ] || fail "no row for" $missing
unknown=$(LC_ALL=C comm -23 <(sort -u <<<"$listed") <(echo "$exported"))
[ -z "$unknown" ] || fail "not exported:" $unknown

while IFS='|' read -r name what base precision headers; do
  overloads=$(sed 's/(.*//' "$list" | grep -cxF "$name" || true)
  if [ "$overloads" -gt 1 ] && [[ $what != *overloads* ]]; then
    fail "$name has $overloads overloads, and its row does not say so"
  fi
  [[ $base =~ ^(-|any|0|1|0\ and\ 1|0\;.*)$ ]] || fail "$name: index base '$base'"
  [ -n "$precision" ] || fail "$name: no precision"
  for header in ${headers//,/ }; do
    grep -qxF "$header" "$root/cmake/public_headers.txt" || { fail "$name: $header is not a public header"; continue; }
    grep -E "(ORIDAN_API|^extern)[^/]*[ *&]$name(\(|;)" "$root/$header" >/dev/null || fail "$name is not declared in $header"
  done
done <<<"$rows"
[ $status -eq 0 ] && echo "$lines rows for $(wc -l <"$list") exported symbols"
exit $status
