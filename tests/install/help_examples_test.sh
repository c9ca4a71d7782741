#!/usr/bin/env bash
# help_examples_test.sh WORKBENCH CTC MODULE
# Every command has a help with an example, and the example works: its lines are run as they stand, each command's in an
# empty folder, after what a line "Example, after ...:" asks for.
set -euo pipefail
workbench=$1 ctc=$2 module=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/bin"
ln -s "$workbench" "$work/bin/workbench"
ln -s "$ctc" "$work/bin/ctc"
export PATH="$work/bin:$PATH"

failures=0
tried=0
for program in workbench ctc; do
  while read -r command; do
    tried=$((tried + 1))
    folder="$work/$program-$command"
    mkdir -p "$folder/build/release"
    ln -s "$module" "$folder/build/release/OridanArtifactRemoval.so"
    help=$("$program" "$command" --help)
    before=$(sed -nE 's/^Example, after (.*):$/\1/p' <<<"$help")
    example=$(awk '/^Example/ {inside = 1; next} /^[^ ]/ {inside = 0} inside' <<<"$help")
    if [ -z "${example//[[:space:]]/}" ]; then
      echo "$program $command: its help has no example" >&2
      failures=$((failures + 1))
    elif ! (cd "$folder" && bash -euo pipefail -c "$before"$'\n'"$example") >"$work/output" 2>&1 </dev/null; then
      printf '%s %s: its example fails:\n%s\n' "$program" "$command" "$example" >&2
      tail -3 "$work/output" >&2
      failures=$((failures + 1))
    fi
  done < <("$program" complete -- '' | tail -n +2 | cut -f 1)
done
[ $tried -ge 10 ] || { echo "only $tried commands: this test is void" >&2; exit 1; }
[ $failures -eq 0 ] && echo "$tried examples work"
