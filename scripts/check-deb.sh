#!/usr/bin/env bash
# The Debian package as a host team's machine takes it: cpack makes it from the native build,
# apt-get installs it (with the dependencies it names), the C example host is built against the
# system's copy with find_package and with pkg-config and run, and the package is removed again.
# It changes the machine, so it runs as root and only when asked: CI=true or ORVANE_CHECK_DEB=1.
#   scripts/check-deb.sh BUILD_DIR OUT_DIR
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd "$1" && pwd)
out=$2
rm -rf "$out"
mkdir -p "$out"
out=$(cd "$out" && pwd)
(cd "$build" && cpack -G DEB >"$out/cpack.log")
deb=$(ls "$build"/packages/orvanepc_*_amd64.deb)
echo "-- $(basename "$deb"): $(du -k "$deb" | cut -f1) KiB, $(dpkg-deb -f "$deb" Depends)"
DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "$deb" >"$out/apt.log"
trap 'DEBIAN_FRONTEND=noninteractive apt-get remove -y -q orvanepc >>"$out/apt.log" 2>&1 || true' EXIT

cmake -S "$root/examples" -B "$out/cmake" >"$out/cmake.log"
cmake --build "$out/cmake" >>"$out/cmake.log"
"$out/cmake/example_host" "$out"
# shellcheck disable=SC2046
cc -std=c99 -Wall -Wextra -Werror "$root/examples/example_host.c" "$root/examples/HostWindowX11.c" \
  $(pkg-config --cflags --libs orvanepc) -lX11 -o "$out/pkgconfig_host"
"$out/pkgconfig_host" "$out"
