#!/usr/bin/env bash
# update_page_libraries.sh [--write]
# Fetches the libraries of the report's page as workbench/report/page/vendor/package-lock.json pins them (npm checks
# their digests) and compares them with the files beside it; --write replaces those. For another version change
# package.json there, and run `npm install --package-lock-only` in that folder first.
set -euo pipefail
case ${1:-} in
  ''|--write) ;;
  *) echo "update_page_libraries: there is no option $1; see the head of this script" >&2; exit 2 ;;
esac
command -v npm >/dev/null || { echo "update_page_libraries: npm is missing; install Debian's npm" >&2; exit 2; }
vendor=$(cd "$(dirname "$0")/../workbench/report/page/vendor" && pwd)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$vendor/package.json" "$vendor/package-lock.json" "$work/"
(cd "$work" && npm ci --ignore-scripts --no-audit --no-fund --loglevel=error >/dev/null)

package="$work/node_modules/uplot"
status=0
for file in dist/uPlot.iife.min.js dist/uPlot.min.css LICENSE; do
  kept="$vendor/$(basename "$file")"
  if [ "${1:-}" = --write ]; then
    cp "$package/$file" "$kept"
  elif ! cmp "$package/$file" "$kept"; then
    status=1
  fi
done
if [ "${1:-}" = --write ]; then
  (cd "$vendor" && sha256sum uPlot.iife.min.js uPlot.min.css LICENSE >SHA256SUMS)
fi
[ $status = 0 ] && echo "the vendored files are those of uplot $(node -p "require('$package/package.json').version")"
exit $status
