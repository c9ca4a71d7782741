#!/usr/bin/env bash
# tutorial.sh MODULE FOLDER
# Runs the commands of docs/tutorial.md and puts the pictures that they make into FOLDER. Needs workbench and chromium on
# PATH.
set -euo pipefail
MODULE=$(realpath "$1")
export MODULE
folder=$(realpath "$2")
page=$(realpath "$(dirname "$0")/../tutorial.md")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
awk '/^```sh$/ {inside = 1; next} /^```$/ {inside = 0} inside' "$page" >commands
bash -euo pipefail commands
cp tutorial-*.png "$folder"
