#!/usr/bin/env bash
# The SDK as a host team takes it: installs the native build into a prefix, compares the
# library's binary interface with the record in abi/, builds the C example host against the
# installed tree (never the build tree) with CMake's find_package and with pkg-config, runs both
# (an X server must be there), and compiles the header alone as C89, C99, C11, C++17 and C++20
# with every warning an error.
# With --windows, the Windows build instead: installed, the example cross-built with MinGW
# against the installed import library libOrvanePC.dll.a and run under Wine (WINEPREFIX set),
# and OrvanePC.lib linked by lld-link into a program without C runtime that Wine runs.
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

  echo "-- OrvanePC.lib read by the Microsoft-style linker (clang for MSVC, lld-link, no C runtime)"
  printf '#include "OrvanePC.h"\nint start(void) { return PC_Version() == %s ? 0 : 1; }\n' \
    "$(sed -n 's/^project(OrvanePC VERSION \([0-9]*\)\.\([0-9]*\)\.\([0-9]*\).*/\1*1000000+\2*1000+\3/p' "$root/CMakeLists.txt")" \
    >"$out/msvc_link.c"
  clang --target=x86_64-pc-windows-msvc -ffreestanding -Wall -Werror -I"$prefix/include" -c "$out/msvc_link.c" \
    -o "$out/msvc_link.obj"
  lld-link /entry:start /subsystem:console /nodefaultlib /out:"$out/cmake/msvc_link.exe" "$out/msvc_link.obj" \
    "$prefix/lib/OrvanePC.lib"
  wine "$out/cmake/msvc_link.exe"
  exit 0
fi

echo "-- the binary interface against the record in abi/ (scripts/record-abi.sh renews it on purpose)"
abidiff --headers-dir2 "$prefix/include" "$root/abi/libOrvanePC.abi" "$(readlink -f "$prefix/lib/libOrvanePC.so")"

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
