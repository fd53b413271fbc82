#!/bin/sh
# Builds the fuzz targets of the file readers (.ovcf, LAS, LAZ, PLY, XYZ) with clang's libFuzzer in
# their own build folder, writes the seed corpora and fuzzes them one after the other, sharing the
# given number of seconds (default 60) evenly. Fails on any finding; the offending input is left
# in BUILD/fuzz-findings/<target>/ (copy it to fuzz/regressions/<target>/ once fixed, so that the
# tests replay it).
#
# usage: scripts/run-fuzz.sh [SECONDS] [BUILD_FOLDER] [TARGET...]
#   TARGET is ovcf_reader, las_reader, laz_reader, ply_reader or xyz_reader; all five when none is
#   given.
set -eu

seconds=${1:-60}
root=$(cd "$(dirname "$0")/.." && pwd)
build=${2:-$root/build-fuzz}
[ $# -gt 2 ] && shift 2 || set --
[ $# -gt 0 ] || set -- ovcf_reader las_reader laz_reader ply_reader xyz_reader
share=$((seconds / $#))
[ "$share" -gt 0 ] || share=1

# A unity build with line tables only compiles in half the time; the readers keep -O2.
CC=clang-14 CXX=clang++-14 cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_UNITY_BUILD=ON \
    "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -gline-tables-only -DNDEBUG" -DORVANE_FUZZ=ON -DORVANE_TESTS=OFF -DORVANE_DEMO=OFF >/dev/null
targets=""
for reader in "$@"; do targets="$targets ${reader}_fuzz"; done
# shellcheck disable=SC2086
cmake --build "$build" -j2 --target $targets

for reader in "$@"; do
    seeds=$build/fuzz-seeds/$reader
    corpus=$build/fuzz-corpus/$reader
    findings=$build/fuzz-findings/$reader
    mkdir -p "$corpus" "$findings"
    regressions=$root/fuzz/regressions/$reader
    [ -d "$regressions" ] || regressions=""
    echo "== fuzzing $reader for ${share} s"
    # libFuzzer exits non-zero on a crash, leak, timeout or out-of-memory, which fails this script.
    # shellcheck disable=SC2086
    "$build/bin/${reader}_fuzz" -max_total_time="$share" -timeout=30 -rss_limit_mb=2048 -max_len=20000 \
        -print_final_stats=1 -artifact_prefix="$findings/" "$corpus" "$seeds" $regressions
done
echo "fuzzing $* for ${seconds} s in all found nothing"
