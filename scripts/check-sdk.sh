#!/usr/bin/env bash
# The SDK as a host team takes it: installs the native build into a prefix, checks that the
# library exports exactly the interface, compares its binary interface with the record in abi/,
# builds the C example host against the installed tree (never the build tree) with CMake's
# find_package and with pkg-config, runs both (an X server must be there), and compiles the
# header alone as C89, C99, C11, C++17 and C++20 with every warning an error.
# With --windows, the Windows build instead: installed, its exports checked against OrvanePC.def,
# the example cross-built with MinGW against the installed import library libOrvanePC.dll.a and
# run under Wine (WINEPREFIX set),
# then the same example built by clang for the MSVC target and linked by lld-link against the
# installed OrvanePC.lib, with no Microsoft runtime, and run under Wine too.
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
  echo "-- the DLL's exports against OrvanePC.def"
  bash "$root/scripts/check-exports.sh" "$prefix/bin/OrvanePC.dll"
  echo "-- example host through find_package(OrvanePC), MinGW, under Wine"
  cmake -S "$root/examples" -B "$out/cmake" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" >"$out/cmake.log"
  cmake --build "$out/cmake" >>"$out/cmake.log"
  grep -q "libOrvanePC.dll.a" "$out/cmake/CMakeFiles/example_host.dir/linkLibs.rsp" 2>/dev/null ||
    grep -rq "libOrvanePC.dll.a" "$out/cmake/CMakeFiles/example_host.dir/" 
  cp "$prefix/bin/OrvanePC.dll" "$out/cmake/"
  wine "$out/cmake/example_host.exe" "$(winepath -w "$out")"

  echo "-- example host by clang for the MSVC target, linked by lld-link against OrvanePC.lib, under Wine"
  # No Microsoft headers or runtime here: MinGW's headers in their Universal C Runtime mode (they
  # need __GNUC__ defined), import libraries made from the example's .def files for ucrtbase.dll,
  # kernel32.dll and user32.dll, and the entry point and stdio of examples/msvc/ucrt_start.c.
  msvc="$out/msvc"
  mkdir -p "$msvc"
  for library in ucrtbase kernel32 user32; do
    llvm-dlltool -m i386:x86-64 -d "$root/examples/msvc/$library.def" -l "$msvc/$library.lib"
  done
  for source in example_host.c HostWindowWin32.c msvc/ucrt_start.c; do
    object="$msvc/$(basename "$source" .c).obj"
    clang --target=x86_64-pc-windows-msvc -fgnuc-version=4.2.1 -D_UCRT -isystem /usr/x86_64-w64-mingw32/include \
      -std=c99 -Wall -Wextra -Werror -I"$prefix/include" -c "$root/examples/$source" -o "$object"
  done
  lld-link /entry:start /subsystem:console /nodefaultlib /out:"$msvc/example_host.exe" "$msvc"/*.obj \
    "$prefix/lib/OrvanePC.lib" "$msvc/ucrtbase.lib" "$msvc/kernel32.lib" "$msvc/user32.lib"
  cp "$prefix/bin/OrvanePC.dll" "$msvc/"
  wine "$msvc/example_host.exe" "$(winepath -w "$msvc")"
  exit 0
fi

echo "-- the library's exports against OrvanePC.def"
bash "$root/scripts/check-exports.sh" "$(readlink -f "$prefix/lib/libOrvanePC.so")"

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
