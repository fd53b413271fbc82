#!/usr/bin/env bash
# Builds the packages from a checkout, tests left out: the Linux .tar.gz and Debian package, and
# the Windows SDK zip (DLL, import libraries for MinGW and the Microsoft toolchain, .def, header,
# tools, CMake and pkg-config files, README and licence). They land in build/package/.
#   scripts/package.sh
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
"$root/scripts/install-deps.sh"
jobs=$(nproc)
out="$root/build/package"
mkdir -p "$out"

cmake -S . -B build/package/linux -DCMAKE_BUILD_TYPE=Release -DORVANE_TESTS=OFF >/dev/null
cmake --build build/package/linux -j"$jobs"
(cd build/package/linux && cpack)
cmake -S . -B build/package/windows -DCMAKE_BUILD_TYPE=Release -DORVANE_TESTS=OFF \
  -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" >/dev/null
cmake --build build/package/windows -j"$jobs"
(cd build/package/windows && cpack)

cp build/package/linux/packages/*.tar.gz build/package/linux/packages/*.deb build/package/windows/packages/*.zip "$out/"
ls -l "$out"/*.tar.gz "$out"/*.deb "$out"/*.zip
