#!/usr/bin/env bash
# install_test.sh SOURCE BUILD
# CXX and CXXFLAGS are the compiler and flags of BUILD: a program must share a sanitizer with the library.
set -euo pipefail
source=$1 build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "install_test: $*" >&2; exit 1; }
# within VALUE EXPECTED TOLERANCE
within() { awk -v a="$1" -v b="$2" -v t="$3" 'BEGIN {exit !(a - b <= t && b - a <= t)}'; }
unset CMAKE_PREFIX_PATH PKG_CONFIG_PATH LD_LIBRARY_PATH

cmake --install "$build" --prefix "$work/first" >"$work/install.log" || { cat "$work/install.log"; fail "installing"; }
mkdir "$work/moved"
mv "$work/first" "$work/moved/oridan"
export PREFIX=$work/moved/oridan
module=$PREFIX/lib/oridan/OridanArtifactRemoval.so
doc=$PREFIX/share/doc/OridanArtifactRemoval

# What is there, and what is not.
for file in "$module" "$PREFIX/lib/liboridan.so" "$PREFIX/bin/workbench" "$PREFIX/bin/ctc" "$PREFIX/lib/pkgconfig/oridan.pc" \
  "$doc/README.md" "$doc/CHANGELOG.md" "$doc/docs/library.md" "$doc/manual/index.html" "$doc/examples/spectrum.cpp"; do
  [ -s "$file" ] || fail "${file#"$PREFIX/"} is missing"
done
diff <(LC_ALL=C sort "$source/cmake/public_headers.txt") <(cd "$PREFIX/include/oridan" && find . -type f | cut -c3- | LC_ALL=C sort) ||
  fail "the headers are not those of public_headers.txt"
if grep -rlF -e "$source" -e "$build" -e "$work/first" "$PREFIX/lib/cmake" "$PREFIX/lib/pkgconfig" "$PREFIX/include"; then
  fail "these name a folder of the build"
fi
for file in "$module" "$PREFIX/lib/liboridan.so" "$PREFIX/bin/workbench" "$PREFIX/bin/ctc"; do
  if readelf -d "$file" | grep -E 'RPATH|RUNPATH'; then
    fail "${file##*/} looks for libraries in a fixed folder"
  fi
done

# Every header by itself, from above its folder, as C++17, and none that is not installed.
mkdir "$work/headers"
while read -r header; do
  echo "#include <oridan/$header>" >"$work/headers/${header//\//_}.cpp"
done <"$source/cmake/public_headers.txt"
"$CXX" -std=c++17 -fsyntax-only -Wall -Wextra -Wpedantic -Werror -I"$PREFIX/include" "$work"/headers/*.cpp || fail "headers"

# A program that links the library, writes a known recording and loads the module.
cp -r "$source/tests/install/consumer" "$work/consumer"
cmake -S "$work/consumer" -B "$work/consumer/build" -G Ninja -DCMAKE_PREFIX_PATH="$PREFIX" >"$work/log" 2>&1 &&
  cmake --build "$work/consumer/build" >>"$work/log" 2>&1 || { cat "$work/log"; fail "building the consumer"; }
"$work/consumer/build/consumer" "$work/sine.ctc" || fail "the consumer"

# The example: the commands of its README, in a copy of its folder.
cp -r "$source/examples" "$work/examples"
cd "$work/examples"
"$PREFIX/bin/workbench" simulate -o recording.ctc --channels 3 --seconds 30 >/dev/null
commands=$(awk '/^```sh$/ {inside = 1; next} /^```$/ {inside = 0} inside' README.md)
[ "$(wc -l <<<"$commands")" -eq 2 ] || fail "the example's README has other than two commands"
bash -euo pipefail -c "$commands" >output 2>&1 || { cat output; fail "the commands of the example's README"; }
grep -q '^peak: ' output || fail "the example prints no peak"

# Known spectrum and test. The mean of 4 samples, kept once in 4, lets sin(4x)/(4 sin x) of a frequency pass, the moving
# average of 2 cos x, x = pi f / rate. t of two samples of 2500 that differ by 0.2: the sine is all their variance.
build/spectrum "$work/sine.ctc" --channel 2 --smooth 2 --decimate 4 --points 256 --windows 1 9 11 19 >sine.txt
read -r hertz amplitude < <(sed -nE 's/^peak: ([0-9.]+) Hz, amplitude (.*)/\1 \2/p' sine.txt)
read -r t p < <(sed -nE 's/^t-test.* t = ([^,]+), df = 3998, p = (.*)/\1 \2/p' sine.txt)
read -r expected_amplitude expected_t < <(awk 'BEGIN {
  x = 3.14159265358979 * 62.5 / 1000; a = 5 * cos(x) * sin(4 * x) / (4 * sin(x))
  print a, -0.2 / sqrt(a * a / 2 * 2000 / 1999 * 2 / 2000)}')
# The normal distribution is close enough for 3998 degrees of freedom: Simpson's rule from |t| to 12.
expected_p=$(awk -v t="$t" 'function f(z) {return exp(-z * z / 2) / sqrt(2 * 3.14159265358979)}
  BEGIN {if (t < 0) t = -t; n = 2000; h = (12 - t) / n; s = f(t) + f(12)
         for (i = 1; i < n; i++) s += f(t + i * h) * (i % 2 ? 4 : 2); print 2 * s * h / 3}')
within "$hertz" 62.5 0.0001 || fail "the sine of 62.5 Hz peaks at $hertz Hz"
within "$amplitude" "$expected_amplitude" 0.005 || fail "its amplitude is $amplitude, not $expected_amplitude"
within "$t" "$expected_t" 0.002 || fail "t is $t, not $expected_t"
within "$p" "$expected_p" 0.0005 || fail "p is $p, not $expected_p"
build/spectrum "$work/sine.ctc" --channel 1 --points 256 | grep 't = 0, df = 19998, p = 1$' >/dev/null ||
  fail "a flat channel differs from itself"

# A simulated scanner repeats its slices every 64.37 ms: the strongest frequency is a multiple of that rate, within half
# of the spectrum's step.
build/spectrum recording.ctc --points 16384 >gradient.txt
hertz=$(sed -nE 's/^peak: ([0-9.]+) Hz.*/\1/p' gradient.txt)
awk -v f="$hertz" 'BEGIN {m = f * 0.06437; k = int(m + 0.5); d = (m - k) / 0.06437; exit !(k > 0 && d < 0.0306 && d > -0.0306)}' ||
  fail "the gradient artifact peaks at $hertz Hz"

# Errors are one line that says what is wrong, and a status.
refused() { # EXPECTED_TEXT ARGUMENTS...
  local text=$1 status=0
  shift
  build/spectrum "$@" >refused.out 2>refused.err || status=$?
  [ $status -eq 2 ] && grep -qF -- "$text" refused.err || fail "spectrum $*: status $status, $(head -1 refused.err)"
}
refused "which recording?"
refused "No such file or directory" absent.ctc
refused "not a recording that can be read" README.md
refused "has 3 channels, none with number 4" recording.ctc --channel 4
refused "--points must be a power of two" recording.ctc --points 1000
refused "choose fewer with --points" recording.ctc --points 1048576
refused "--decimate needs a whole number from 1" recording.ctc --decimate 0
refused '--smooth needs a number, not "x"' recording.ctc --smooth x
refused "does not lie within the recording" recording.ctc --windows 0 10 20 31
refused "there is no option --chanel" recording.ctc --chanel 2
build/spectrum --help | grep '^usage: spectrum' >/dev/null || fail "no help"

# The same program without CMake.
export PKG_CONFIG_PATH="$PREFIX/lib/pkgconfig"
commands=$(awk '/^```sh pkg-config$/ {inside = 1; next} /^```$/ {inside = 0} inside' README.md)
g++() { "$CXX" ${CXXFLAGS:-} "$@"; }
eval "$commands" || fail "the README's commands without CMake"
./spectrum "$work/sine.ctc" --channel 2 --smooth 2 --decimate 4 --points 256 --windows 1 9 11 19 | diff sine.txt - || fail "built without CMake"
[ "$(pkg-config --variable=module oridan)" -ef "$module" ] || fail "pkg-config does not know where the module is"

# The installed workbench runs the installed module.
"$PREFIX/bin/workbench" run "$module" --data recording.ctc --protocol recording.prt --condition slice --pre 0 --post 64 \
  --segment 50 --components 3 --quiet
[ -s recording_OBS.ctc ] || fail "nothing was cleaned"
echo "installed, moved, used"
