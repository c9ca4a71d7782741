#!/usr/bin/env bash
# method.sh MODULE FOLDER
# Makes the pictures of docs/method.md in FOLDER, from simulated recordings. Needs workbench, ctc and gnuplot on PATH.
set -euo pipefail
module=$(realpath "$1")
folder=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
workbench simulate -o gradient.ctc --channels 16 --seconds 120 >/dev/null
workbench simulate -o heartbeat.ctc --artifact heartbeat --channels 16 --seconds 300 --rate 500 >/dev/null

# clean NAME CONDITION PRE POST SEGMENT COMPONENTS
clean() {
  workbench run "$module" --data "$1.ctc" --protocol "$1.prt" --condition "$2" --pre "$3" --post "$4" --segment "$5" \
    --components "$6" -o "$1.$6.ctc" --quiet
}
# left NAME CONDITION PRE POST COMPONENTS: components, artifact left in uV, dB of the trigger-locked average removed
left() {
  workbench compare "$1.ctc" "$1.$5.ctc" --protocol "$1.prt" --condition "$2" --pre "$3" --post "$4" \
    --truth "$1.clean.ctc" --csv - |
    awk -F, -v p="$5" 'NR == 1 {for (i = 1; i <= NF; i++) column[$i] = i}
      $1 == "all" {print p, $column["artifact_rms_after"], $column["locked_db_removed"]}'
}
for components in 1 2 3 4 6 8 10; do
  clean gradient slice 0 63 50 "$components"
  left gradient slice 0 63 "$components" >>gradient.txt
  clean heartbeat heartbeat 100 600 30 "$components"
  left heartbeat heartbeat 100 600 "$components" >>heartbeat.txt
done

# What a component more does to what one sees, and to what is true.
gnuplot <<GNUPLOT
set terminal pngcairo size 1200,480 font "DejaVu Sans,13"
set output "$folder/components.png"
set multiplot layout 1,2
set xlabel "principal components removed"
set grid ytics lc rgb "#dddddd"
set xrange [0.5:10.5]
set xtics 1
set key top right
set ylabel "left beside the truth, RMS in microvolts"
set yrange [0:12]
plot "gradient.txt" using 1:2 with linespoints lw 2 pt 7 lc rgb "#c0392b" title "scanner's gradients", \
     "heartbeat.txt" using 1:2 with linespoints lw 2 pt 5 lc rgb "#2471a3" title "heartbeats"
set key bottom right
set ylabel "removed from the trigger-locked average, dB"
set yrange [0:120]
plot "gradient.txt" using 1:3 with linespoints lw 2 pt 7 lc rgb "#c0392b" title "scanner's gradients", \
     "heartbeat.txt" using 1:3 with linespoints lw 2 pt 5 lc rgb "#2471a3" title "heartbeats"
GNUPLOT

# Three seconds of one channel with heartbeats: before, after, and the truth.
for name in heartbeat.ctc heartbeat.1.ctc heartbeat.clean.ctc; do
  ctc dump "$name" --from 60 --to 63 --channels 3 | tail -n +2 | tr , ' ' >"$name.txt"
done
gnuplot <<GNUPLOT
set terminal pngcairo size 1200,480 font "DejaVu Sans,13"
set output "$folder/heartbeats.png"
set xlabel "seconds"
set ylabel "microvolts"
set xrange [60:63]
set grid ytics lc rgb "#dddddd"
set key top right
plot "heartbeat.ctc.txt" with lines lw 1 lc rgb "#bbbbbb" title "before", \
     "heartbeat.clean.ctc.txt" with lines lw 2 lc rgb "#27ae60" title "the truth", \
     "heartbeat.1.ctc.txt" with lines lw 1.5 lc rgb "#2471a3" title "after, one component removed"
GNUPLOT
