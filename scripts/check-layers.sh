#!/usr/bin/env bash
# The module's folders stand in layers, lowest first; a file may include its own layer and the
# ones below, never one above. Prints every include that runs back up and fails if there is one.
#   platform    system calls, the window and GL context, input events
#   core        logging, progress, number formatting, crash diagnostics, vector maths
#   ovcf        the point-cloud file
#   import      point sources, the octree indexer, exports
#   cloud       the cloud as the view and the editing see it: nodes, streaming, colours, settings
#   selection   selection engine, filters, deletion and undo, read-back
#   navigation  camera, navigation, tools, clip box, picking
#   view        drawing: renderer, passes, shaders, overlays, text, screenshots
#   controller  the view controller that composes all of the above
#   api         the exported functions
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
layers=(platform core ovcf import cloud selection navigation view controller api)

rank() {
  local i
  for i in "${!layers[@]}"; do
    [ "${layers[$i]}" = "$1" ] && { echo "$i"; return; }
  done
  echo -1
}

cd "$root/src"
for folder in */; do
  folder=${folder%/}
  [ "$(rank "$folder")" -ge 0 ] || { echo "src/$folder: a folder with no layer in scripts/check-layers.sh"; exit 1; }
done

upward=0
while IFS=: read -r file _ target; do
  from=${file%%/*}
  to=${target%%/*}
  [ "$(rank "$to")" -ge 0 ] || continue
  if [ "$(rank "$to")" -gt "$(rank "$from")" ]; then
    echo "src/$file includes $target: $from stands below $to"
    upward=$((upward + 1))
  fi
done < <(grep -rnoE '^#include "[a-z0-9_]+/[^"]+"' --include='*.h' --include='*.cpp' --include='*.c' . |
  sed -E 's|^\./||; s|#include "([^"]+)"|\1|')

if [ "$upward" -gt 0 ]; then
  echo "$upward include(s) run back up the layers"
  exit 1
fi
echo "layers: no include runs back up (${layers[*]})"
