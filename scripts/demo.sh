#!/usr/bin/env bash
# demo.sh
#   Simulates a recording made inside an MR scanner, cleans it with the module, and shows how much of the artifact is
#   gone, measured against the truth.
# demo.sh --data R.ctc --protocol R.prt --condition C --pre MS --post MS --segment N --components P [run's options]
#   The same on your recording, judged by the power of its trigger-locked average before and after.
# Installs and builds what is missing first.
set -euo pipefail
here=$PWD

# With options of its own they are looked at first: --name value or --name=value.
declare -A given=()
arguments=("$@")
for ((i = 0; i < ${#arguments[@]}; i++)); do
  case ${arguments[i]} in
    -h | --help) sed -n '2,8s/^# \{0,1\}//p' "$0"; exit 0 ;;
    --data=* | --protocol=* | --condition=* | --pre=* | --post=* | --output=*)
      name=${arguments[i]%%=*}; given[${name#--}]=${arguments[i]#*=} ;;
    --data | --protocol | --condition | --pre | --post | --output) given[${arguments[i]#--}]=${arguments[i + 1]:-} ;;
    -o) given[output]=${arguments[i + 1]:-} ;;
  esac
done
if [ $# -gt 0 ]; then
  for option in data protocol condition pre post; do
    [ -n "${given[$option]:-}" ] || { echo "demo: --$option is missing; see scripts/demo.sh --help" >&2; exit 2; }
  done
fi

cd "$(dirname "$0")/.."
scripts/setup.sh
mkdir -p build
cmake --preset release >build/demo.log 2>&1 && cmake --build --preset release \
  --target workbench ctc OridanArtifactRemoval \
  >>build/demo.log 2>&1 || { tail -20 build/demo.log >&2; exit 1; }
workbench=$PWD/build/release/workbench/workbench
module=$PWD/build/release/OridanArtifactRemoval.so

seconds_since() { awk -v a="$1" -v b="$(date +%s.%N)" 'BEGIN {printf "%.1f", b - a}'; }
# column NAME: that column of the row "all" of a comparison on standard input.
column() { awk -F, -v name="$1" 'NR == 1 {for (i = 1; i <= NF; i++) if ($i == name) c = i} $1 == "all" {print $c}'; }

if [ $# -eq 0 ]; then
  demo=$PWD/build/demo
  mkdir -p "$demo"
  cd "$demo"
  echo "Simulating 32 channels, two minutes at 1000 Hz, with a scanner's gradient artifact ..."
  "$workbench" simulate -o demo.ctc --overwrite >/dev/null
  echo "Removing it with the module ..."
  start=$(date +%s.%N)
  "$workbench" run "$module" --data demo.ctc --protocol demo.prt --condition slice --pre 0 --post 64 --segment 50 \
    --components 3 --overwrite --quiet
  seconds=$(seconds_since "$start")
  result=$("$workbench" compare demo.ctc demo_OBS.ctc --protocol demo.prt --condition slice --pre 0 --post 64 \
    --truth demo.clean.ctc --csv -)
  printf '\n%-28s %10.2f uV\n%-28s %10.2f uV\n%-28s %10.1f dB\n%-28s %10s s\n\n' \
    "artifact RMS before" "$(column artifact_rms_before <<<"$result")" \
    "artifact RMS after" "$(column artifact_rms_after <<<"$result")" \
    "removed" "$(column artifact_db_removed <<<"$result")" "time" "$seconds"
  echo "The files are in build/demo: demo.ctc, demo_OBS.ctc (cleaned), demo.clean.ctc (truth), demo.prt."
  exit 0
fi

cd "$here"
if [ -z "${given[output]:-}" ]; then
  name=${given[data]##*/}
  given[output]=$(dirname "${given[data]}")/${name%.*}_OBS.ctc
fi
start=$(date +%s.%N)
"$workbench" run "$module" "$@"
seconds=$(seconds_since "$start")
result=$("$workbench" compare "${given[data]}" "${given[output]}" --protocol "${given[protocol]}" \
  --condition "${given[condition]}" --pre "${given[pre]}" --post "${given[post]}" --csv -)
printf '\n%-36s %12.3f uV^2\n%-36s %12.3f uV^2\n%-36s %12.1f dB\n%-36s %12s s\n' \
  "power of the locked average before" "$(column locked_power_before <<<"$result")" \
  "power of the locked average after" "$(column locked_power_after <<<"$result")" \
  "removed" "$(column locked_db_removed <<<"$result")" "time" "$seconds"
