#!/usr/bin/env bash
# Records the Linux library's binary interface (exported functions and the types they take) in
# abi/libOrvanePC.abi, which the test stage compares every build with. Run it only on purpose,
# when the interface changes, and raise the major version when the change is incompatible.
#   scripts/record-abi.sh [BUILD_DIR]   (default build/native)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${1:-$root/build/native}
library=$(readlink -f "$build/bin/libOrvanePC.so")
abidw --headers-dir "$root/include" --drop-private-types --no-show-locs --no-corpus-path --out-file "$root/abi/libOrvanePC.abi" "$library"
echo "recorded $(grep -c '<elf-symbol name=' "$root/abi/libOrvanePC.abi") symbols from $library"
