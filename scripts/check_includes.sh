#!/usr/bin/env bash
# check_includes.sh ROOT
# Who may include whom, folder by folder; the exceptions are single files.
set -euo pipefail
cd "$1"
status=0

# allowed FOLDER: the folders that its files may include from, besides their own.
allowed() {
  case $1 in
    numerics) echo "" ;;
    stats) echo "numerics" ;;
    fileio) echo "numerics" ;;
    obs) echo "plugin fileio numerics stats" ;;
    plugin) echo "" ;;
    workbench) echo "plugin fileio numerics workbench/batch workbench/check workbench/exchange workbench/report" ;;
    workbench/check) echo "workbench fileio numerics" ;;
    workbench/report) echo "workbench workbench/check fileio" ;;
    workbench/exchange | workbench/batch) echo "workbench" ;;
    tools) echo "workbench fileio numerics" ;;
  esac
}
# Single files that need more: the inverses use the mean and the matrix writer.
exceptions="numerics/inverse.cpp:stats/moments.h numerics/inverse.cpp:stats/text_output.h"

for folder in numerics stats fileio obs plugin workbench workbench/check workbench/report workbench/exchange \
  workbench/batch tools; do
  for file in "$folder"/*.h "$folder"/*.cpp; do
    while read -r included; do
      [ "$included" = export.h ] && continue
      from=${included%/*}
      case $from in numerics/*) from=numerics ;; esac
      [ "$from" = "$folder" ] && continue
      case " $(allowed "$folder") " in *" $from "*) continue ;; esac
      case " $exceptions " in *" $file:$included "*) continue ;; esac
      echo "$file may not include $included" >&2
      status=1
    done < <(sed -nE 's/^#include "([^"]+)".*/\1/p' "$file")
  done
done
[ $status = 0 ] && echo "includes follow the rules"
exit $status
