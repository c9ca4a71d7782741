#!/usr/bin/env bash
# setup.sh [EXTRA_PACKAGE...]
# Installs what the build, the demo and the tests need from Debian's packages, when it is missing.
set -euo pipefail
packages=(g++ cmake ninja-build libgtest-dev libcli11-dev nlohmann-json3-dev libopenblas-dev libbiosig-dev libfftw3-dev
  zlib1g-dev "$@")

missing=()
for package in "${packages[@]}"; do
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "setup: ask an administrator to install: ${missing[*]}" >&2; exit 1; }
  as_root=(sudo)
fi
echo "Installing ${missing[*]} ..."
export DEBIAN_FRONTEND=noninteractive
log=$(mktemp)
if ! { "${as_root[@]}" apt-get update -qq && "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"; } \
    >"$log" 2>&1; then
  tail -20 "$log" >&2
  rm -f "$log"
  echo "setup: installing failed; the lines above say why" >&2
  exit 1
fi
rm -f "$log"
