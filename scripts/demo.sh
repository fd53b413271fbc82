#!/usr/bin/env bash
# The main job: installs what is missing (apt-get, as root), builds the library and the demo
# host, and runs pcview. With a display it opens the window; without one it starts a private
# Xvfb, renders headless and writes a screenshot to build/demo/pcview.png.
#   scripts/demo.sh [--windows] [CLOUD] [pcview options]
# CLOUD is a .ovcf file, or a LAS, LAZ, PLY or XYZ file that the ovcf tool indexes first into
# build/demo/NAME.ovcf. Without one, pcview generates a small survey-like scene.
# --windows runs the Windows build of the demo under Wine instead.
# Headless, unless pcview options with --do or --script are given, the demo replays a short edit
# through the window system: a rectangle selection (build/demo/pcview-selected.png), its
# deletion, a polygon being drawn (build/demo/pcview-polygon.png), its deletion, the coordinates
# under the cursor, a colour picked for the colour filter, the view turned onto a plane through
# three clicked points (build/demo/pcview-plane.png), then a clip box
# drawn from the top and widened by dragging a face handle, and the final picture seen from the
# side (tests/demo/main_job.txt). Picks go to the drawn point nearest to the script's position,
# and an action that finds nothing on the given cloud is logged while the rest goes on. Nothing
# is confirmed, so the cloud's file is never changed by the demo.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
"$root/scripts/install-deps.sh"

windows=0
if [ "${1:-}" = "--windows" ]; then windows=1; shift; fi

headless=0
if [ -z "${DISPLAY:-}" ] || ! xdpyinfo >/dev/null 2>&1; then
  headless=1
  # shellcheck source=xvfb.sh
  source "$root/scripts/xvfb.sh"
  start_private_xvfb
fi

mkdir -p build/demo
shot="$root/build/demo/pcview.png"
args=()
if [ $# -gt 0 ] && [[ "$1" != -* ]]; then
  cloud=$1
  shift
  case "${cloud,,}" in
    *.ovcf) args+=("$cloud") ;;
    *)
      cmake -S . -B build/native -DCMAKE_BUILD_TYPE=Release >/dev/null
      cmake --build build/native -j"$(nproc)" --target ovcf_tool
      name=$(basename "${cloud%.*}")
      build/native/bin/ovcf build "$cloud" -o "build/demo/$name.ovcf"
      args+=("build/demo/$name.ovcf")
      ;;
  esac
else
  args+=(--default-cache build/demo/default.ovcf)
fi
args+=("$@")
if [ "$headless" -eq 1 ]; then
  args+=(--headless --screenshot "$shot")
  if [[ " $* " != *" --do "* && " $* " != *" --script "* ]]; then
    args+=(--size 1024x720 --keep-going --script "$root/tests/demo/main_job.txt")
  fi
fi

if [ "$windows" -eq 1 ]; then
  cmake -S . -B build/windows -DCMAKE_BUILD_TYPE=Release -DORVANE_TESTS=OFF \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" >/dev/null
  cmake --build build/windows -j"$(nproc)" --target pcview
  export WINEPREFIX="$root/build/windows/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
  wine build/windows/bin/pcview.exe "${args[@]}"
else
  cmake -S . -B build/native -DCMAKE_BUILD_TYPE=Release >/dev/null
  cmake --build build/native -j"$(nproc)" --target pcview
  build/native/bin/pcview "${args[@]}"
fi

