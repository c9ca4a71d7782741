#!/usr/bin/env bash
# completion_test.sh PROGRAMS BASH_FOLDER ZSH_FOLDER FISH_FOLDER
# Loads the scripts that are installed, as the shells load them, and completes words with them. PROGRAMS are the folders
# of workbench and ctc, with a colon between them. zsh and fish are tried where they are installed.
set -euo pipefail
programs=$1 bash_folder=$2 zsh_folder=$3 fish_folder=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "completion_test: $*" >&2; exit 1; }
export PATH="$programs:$PATH"
mkdir "$work/files" "$work/files/a folder" "$work/files/sub"
cd "$work/files"
touch one.ctc "two words.ctc" note.txt "a folder/inner.ctc"
printf 'FileVersion: 1\nExperiment: x\nTimeResolution: samples\n\nCondition: slice start\n1\n\nCondition: beat\n2\n' >r.prt

# expect WHAT EXPECTED FOUND: both are lines in any order
expect() {
  diff <(LC_ALL=C sort <<<"$2") <(LC_ALL=C sort <<<"$3") >"$work/diff" || fail "$1 (wanted <, found >):
$(cat "$work/diff")"
}

# In bash: as readline calls the function, with the words as it splits them.
. "$bash_folder/workbench"
. "$bash_folder/ctc"
compopt() { :; } # readline is not there
bash_completes() {
  COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
  "_oridan_$1" "$1"
  printf '%s\n' "${COMPREPLY[@]}"
}
complete -p workbench ctc >/dev/null || fail "bash: no completion is set"
expect "bash: ctc c" $'completion\nconvert\ncut' "$(bash_completes ctc c)"
expect "bash: recordings" $'a folder\nsub\none.ctc\ntwo words.ctc' "$(bash_completes workbench run --data '')"
expect "bash: quoted" "two words.ctc" "$(bash_completes workbench run --data '"two w')"
expect "bash: escaped" "a folder/inner.ctc" "$(bash_completes workbench run --data 'a\ folder/')"
expect "bash: choices" "heartbeat" "$(bash_completes workbench simulate --artifact h)"
expect "bash: after =" "blas" "$(bash_completes workbench run --product = b)"
expect "bash: conditions" $'slice\\ start\nbeat' "$(bash_completes workbench run --protocol r.prt --condition '')"
expect "bash: numbers" "" "$(bash_completes workbench run --pre '')"
tried=bash

# zsh on a terminal of its own: a key that completes the line and prints it.
if command -v zsh >/dev/null; then
  cat >"$work/zsh.zsh" <<'ZSH'
zmodload zsh/zpty
zpty shell zsh -f -i
read_until() { local part; seen=; while [[ $seen != *$1* ]]; do zpty -r shell part || return 1; seen+=$part; done }
zpty -w shell "PS1=; fpath=($FOLDER \$fpath); autoload -Uz compinit; compinit -u -D; unsetopt zle_bracketed_paste"
zpty -w shell 'show() { zle expand-or-complete; print -r -- "<<$BUFFER>>"; BUFFER=; }; zle -N show; bindkey "^X" show; print rea''dy'
read_until ready
for line in "$@"; do
  zpty -w -n shell "$line"$'\x18'
  read_until '>>'
  print -r -- "${${seen##*<<}%%>>*}"
done
ZSH
  found=$(FOLDER=$zsh_folder timeout 60 zsh -f "$work/zsh.zsh" "workbench simu" "ctc info on" "workbench run --product=b" \
    "workbench run --protocol r.prt --condition sl" "workbench run --data tw") || fail "zsh: no answer: $found"
  expect "zsh" "workbench simulate 
ctc info one.ctc 
workbench run --product=blas 
workbench run --protocol r.prt --condition slice\\ start 
workbench run --data two\\ words.ctc " "$found"
  tried+=" zsh"
fi

if command -v fish >/dev/null; then
  mkdir "$work/home"
  fish_completes() {
    HOME=$work/home fish --no-config -c "source $fish_folder/$1.fish; complete -C '$2'" | cut -f 1
  }
  expect "fish: ctc c" $'completion\nconvert\ncut' "$(fish_completes ctc 'ctc c')"
  expect "fish: recordings" $'a folder/\nsub/\none.ctc\ntwo words.ctc' "$(fish_completes workbench 'workbench run --data ')"
  expect "fish: escaped" "a folder/inner.ctc" "$(fish_completes workbench 'workbench run --data a\ folder/')"
  expect "fish: choices" "heartbeat" "$(fish_completes workbench 'workbench simulate --artifact h')"
  expect "fish: conditions" $'slice start\nbeat' "$(fish_completes workbench 'workbench run --protocol r.prt --condition ')"
  tried+=" fish"
fi
echo "completion works in $tried"
