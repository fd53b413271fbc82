#!/usr/bin/env bash
# Installs, with apt-get, the Debian 12 packages the build, the tests and the demo need.
# Only missing packages are installed; nothing else on the machine is changed.
set -euo pipefail

packages=(
  build-essential cmake pkg-config git dpkg-dev
  g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix
  wine wine64
  xvfb xauth x11-utils x11-apps imagemagick
  libx11-dev libgl-dev libgl1-mesa-dri libglx-mesa0
  libfreetype-dev libfontconfig-dev fonts-dejavu-core
  liblz4-dev python3-glad zlib1g-dev
  libgtest-dev libbenchmark-dev
  clang libclang-rt-14-dev lld llvm abigail-tools
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: every package is already installed"
  exit 0
fi

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "install-deps: run as root to install: ${missing[*]}" >&2; exit 1; }
  as_root=(sudo)
fi
echo "install-deps: installing ${missing[*]}"
"${as_root[@]}" apt-get update -q
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
