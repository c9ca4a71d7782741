#!/usr/bin/env bash
# same_bits.sh
# Builds the module four ways (g++ -O2, g++ -O3 -march=native, clang -O2, sanitizers), cleans the same recordings with
# each, the first also with every instruction set forced in turn, and compares the results byte for byte.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh clang-14
top=$PWD
out=$top/build/same_bits
mkdir -p "$out"

build() { # NAME COMPILER BUILD_TYPE OPTIMISATION [EXTRA_FLAGS]
  cmake -S . -B "$out/$1" -G Ninja -DCMAKE_CXX_COMPILER="$2" -DCMAKE_BUILD_TYPE="$3" \
    -DCMAKE_CXX_FLAGS_RELEASE="$4" -DCMAKE_CXX_FLAGS_DEBUG="$4" -DCMAKE_CXX_FLAGS="${5:-}" -DORIDAN_TESTS=OFF >/dev/null
  cmake --build "$out/$1" --target OridanArtifactRemoval workbench >/dev/null
  echo "built $1"
}
build gcc-O2 g++ Release -O2
build gcc-O3-native g++ Release "-O3 -march=native"
build clang-O2 clang++-14 Release -O2
build sanitizers g++ Debug "-O1 -g" "-fsanitize=address,undefined -fno-sanitize=object-size -fno-sanitize-recover=all"
builds=(gcc-O2 gcc-O3-native clang-O2 sanitizers gcc-O2:avx2 gcc-O2:baseline clang-O2:avx2 clang-O2:baseline)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
status=0
for kind in "gradient 1 1" "gradient 1 2" "heartbeat 1 1" "gradient 3 1" "gradient 3 2" "gradient 4 1" "gradient 5 1"; do
  read -r artifact type ordering <<<"$kind"
  name=$artifact-type$type-ordering$ordering
  "$out/gcc-O2/workbench/workbench" simulate -o "$name.ctc" --artifact "$artifact" --channels 4 --seconds 40 --rate 500 \
    --datatype "$type" --ordering "$ordering" --seed 7 >/dev/null
  if [ "$artifact" = gradient ]; then window=(--pre 0 --post 63); else window=(--pre 100 --post 600); fi
  for build in "${builds[@]}"; do
    ORIDAN_INSTRUCTION_SET=${build#*:} "$out/${build%:*}/workbench/workbench" run \
      "$out/${build%:*}/OridanArtifactRemoval.so" --data "$name.ctc" \
      --protocol "$name.prt" --condition 1 "${window[@]}" --segment 15 --components 3 --quiet \
      --as-is -o "$name.$build.ctc" 2>/dev/null
  done
  for build in "${builds[@]:1}"; do
    cmp "$name.gcc-O2.ctc" "$name.$build.ctc" || status=1
  done
  cmp -s "$name.ctc" "$name.gcc-O2.ctc" && { echo "$name: nothing was cleaned" >&2; status=1; }
  echo "$name: $(sha256sum <"$name.gcc-O2.ctc" | cut -c1-16)"
done
[ $status -eq 0 ] && echo "All builds and instruction sets write the same bytes."
exit $status
