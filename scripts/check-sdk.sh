#!/usr/bin/env bash
# The SDK as a host team takes it: installs the native build into a prefix and builds the C
# example host against the installed tree (never the build tree) with CMake's find_package and
# with pkg-config, runs both (an X server must be there), and compiles the header alone as C89,
# C99, C11, C++17 and C++20 with every warning an error.
# With --windows, the Windows build instead: installed, the example cross-built with MinGW
# against the installed import library libOrvanePC.dll.a, and run under Wine (WINEPREFIX set).
#   scripts/check-sdk.sh [--windows] BUILD_DIR OUT_DIR
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
windows=0
if [ "${1:-}" = --windows ]; then
  windows=1
  shift
fi
build=$1
out=$2
rm -rf "$out"
mkdir -p "$out"
out=$(cd "$out" && pwd)
prefix="$out/prefix"
cmake --install "$build" --prefix "$prefix" >"$out/install.log"

if [ "$windows" -eq 1 ]; then
  echo "-- example host through find_package(OrvanePC), MinGW, under Wine"
  cmake -S "$root/examples" -B "$out/cmake" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" >"$out/cmake.log"
  cmake --build "$out/cmake" >>"$out/cmake.log"
  grep -q "libOrvanePC.dll.a" "$out/cmake/CMakeFiles/example_host.dir/linkLibs.rsp" 2>/dev/null ||
    grep -rq "libOrvanePC.dll.a" "$out/cmake/CMakeFiles/example_host.dir/" 
  cp "$prefix/bin/OrvanePC.dll" "$out/cmake/"
  wine "$out/cmake/example_host.exe" "$(winepath -w "$out")"
  exit 0
fi

echo "-- the header alone, pedantic"
for standard in c89 c99 c11; do
  echo '#include "OrvanePC.h"' | cc -std=$standard -Wall -Wextra -Werror -pedantic -fsyntax-only -I"$prefix/include" -x c -
done
for standard in c++17 c++20; do
  echo '#include "OrvanePC.h"' | c++ -std=$standard -Wall -Wextra -Werror -pedantic -fsyntax-only -I"$prefix/include" -x c++ -
done

echo "-- example host through find_package(OrvanePC)"
cmake -S "$root/examples" -B "$out/cmake" -DCMAKE_PREFIX_PATH="$prefix" >"$out/cmake.log"
cmake --build "$out/cmake" >>"$out/cmake.log"
"$out/cmake/example_host" "$out"

echo "-- example host through pkg-config"
export PKG_CONFIG_PATH="$prefix/lib/pkgconfig"
# shellcheck disable=SC2046
cc -std=c99 -Wall -Wextra -Werror "$root/examples/example_host.c" "$root/examples/HostWindowX11.c" \
  $(pkg-config --cflags --libs orvanepc) -lX11 -Wl,-rpath,"$(pkg-config --variable=libdir orvanepc)" \
  -o "$out/pkgconfig_host"
"$out/pkgconfig_host" "$out"
