#!/usr/bin/env bash
# snakemake_test.sh WORKFLOW_FOLDER WORKBENCH MODULE PAUSING_MODULE
# Three recordings in Snakemake's hands: killed when one of them is done, taken up again, and once more with a broken one.
set -euo pipefail
workflow=$1 workbench=$2 real_module=$3 module=$4
command -v snakemake > /dev/null || { echo "snakemake is not installed"; exit 77; }

fail() {
  echo "FAILED: $*" >&2
  exit 1
}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
export HOME=$folder XDG_CACHE_HOME=$folder/cache REAL_MODULE=$real_module PAUSE_FOLDER=$folder/pause
mkdir pause

echo recording,protocol,condition,pre,post,segment,components > jobs.csv
for i in 1 2 3; do
  "$workbench" simulate -o "rec $i.ctc" --seconds 10 --channels 4 --seed $i > simulated.log
  echo "rec $i.ctc,rec $i.prt,slice,0,63,20,3" >> jobs.csv
done
with_snakemake() {
  snakemake -s "$workflow/Snakefile" --cores 1 --keep-going --rerun-incomplete "$@" \
    --config jobs=jobs.csv module="$module" workbench="$workbench"
}
count() { find jobs_results -maxdepth 1 -name "$1" | wc -l; }

# The second recording stays where it is until everything is killed: Snakemake and what it started.
PAUSE_AFTER=1 setsid snakemake -s "$workflow/Snakefile" --cores 1 --keep-going --config jobs=jobs.csv \
  module="$module" workbench="$workbench" > killed.log 2>&1 &
killed=$!
until compgen -G "pause/waiting*" > /dev/null; do
  kill -0 $killed 2> kill.log || fail "it ended by itself: $(cat killed.log)"
  sleep 0.05
done
kill -KILL -- -$killed
wait $killed && fail "it was not killed"
[ "$(count '*_OBS.ctc')" = 1 ] || fail "one recording should be done when it is killed: $(ls jobs_results)"
done_before=$(stat -c %Y.%i jobs_results/*_OBS.ctc)
done_file=$(ls jobs_results/*_OBS.ctc)

with_snakemake --unlock > unlock.log 2>&1 || fail "$(cat unlock.log)"
with_snakemake > resumed.log 2>&1 || fail "$(cat resumed.log)"
[ "$(count '*_OBS.ctc')" = 3 ] || fail "three recordings: $(ls jobs_results)"
[ "$(count '*_OBS.html')" = 3 ] || fail "three reports: $(ls jobs_results)"
[ "$(stat -c %Y.%i "$done_file")" = "$done_before" ] || fail "$done_file was made twice"
grep -q "3 done" resumed.log || fail "$(cat resumed.log)"
[ "$(grep -c ',done,' jobs_results/summary.csv)" = 3 ] || fail "$(cat jobs_results/summary.csv)"
for i in 1 2 3; do
  "$workbench" run "$real_module" --data "rec $i.ctc" --protocol "rec $i.prt" --condition slice --pre 0 --post 63 \
    --segment 20 --components 3 -o "alone.ctc" --overwrite --quiet
  cmp alone.ctc "jobs_results/rec ${i}_OBS.ctc" || fail "rec $i"
done
"$workbench" batch jobs.csv --module "$module" > batch.log || fail "$(cat batch.log)"
grep -q "3 done (3 of them before)" batch.log || fail "$(cat batch.log)"

# A recording that is not there stops nobody.
echo "none.ctc,rec 1.prt,slice,0,63,20,3" > last
sed -n 1p jobs.csv | cat - last > new && sed 1d jobs.csv >> new && mv new jobs.csv
rm "jobs_results/rec 3_OBS.ctc"
with_snakemake > broken.log 2>&1 && fail "a failure must show in the exit status"
grep -q "none.ctc: no such file" broken.log || fail "$(cat broken.log)"
grep -q "3 done, 1 failed" broken.log || fail "$(cat broken.log)"
cmp alone.ctc "jobs_results/rec 3_OBS.ctc"
echo "killed half-way, taken up again, and a broken one stopped nobody"
