#!/usr/bin/env bash
# The library exports exactly the interface: the 67 names of src/api/OrvanePC.def, each once, and
# on Linux the one documented extension PC_X11ProcessEvents; nothing else (no C++ symbol, no
# name of a linked library).
#   scripts/check-exports.sh LIBRARY   (libOrvanePC.so* or OrvanePC.dll)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
library=$1
expected=$(grep -oE '^\s+PC_[A-Za-z0-9_]+' "$root/src/api/OrvanePC.def" | tr -d ' \t' | sort)
count=$(wc -l <<<"$expected")
[ "$count" -eq 67 ] || { echo "OrvanePC.def lists $count names, not 67"; exit 1; }
case "$library" in
  *.dll)
    exported=$(x86_64-w64-mingw32-objdump -p "$library" |
      sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | sed -nE 's/^\s*\[ *[0-9]+\] ([A-Za-z0-9_@]+)$/\1/p' | sort) ;;
  *)
    expected=$(printf '%s\nPC_X11ProcessEvents\n' "$expected" | sort)
    exported=$(nm -D --defined-only "$library" | awk '{print $3}' | grep -v '^$' | sort) ;;
esac
if [ "$exported" != "$expected" ]; then
  echo "$(basename "$library") exports other names than the interface (< missing, > extra):"
  diff <(echo "$expected") <(echo "$exported") || true
  exit 1
fi
echo "$(basename "$library"): exactly the $(wc -l <<<"$exported") names of the interface"
