#!/usr/bin/env bash
# check_docs.sh BUILD_FOLDER [FILE...]
# Runs every command that stands between sh fences in the docs, file by file, each in an empty folder, with the
# workbench and ctc on PATH and MODULE set. Commands that need the source tree (scripts/...) are run by hand.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "$1" && pwd)
shift
[ $# -gt 0 ] || set -- "$root/README.md" "$root"/docs/*.md
export PATH="$build/workbench:$build/tools:$PATH" MODULE="$build/OridanArtifactRemoval.so"
for file in "$@"; do
  commands=$(awk '/^```sh$/ {inside = 1; next} /^```$/ {inside = 0} inside && !/^scripts\//' "$file")
  [ -n "$commands" ] || continue
  folder=$(mktemp -d)
  if ! (cd "$folder" && bash -euo pipefail -c "$commands" >output 2>&1 </dev/null); then
    echo "a command in ${file#"$root"/} fails:" >&2
    tail -5 "$folder/output" >&2
    rm -rf "$folder"
    exit 1
  fi
  echo "${file#"$root"/}: $(grep -c . <<<"$commands") lines run"
  rm -rf "$folder"
done
