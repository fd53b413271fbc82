#!/bin/sh
# Builds the .ovcf reader fuzz target with clang's libFuzzer in its own build folder, writes the
# seed corpus and fuzzes for the given number of seconds (default 60). Fails on any finding; the
# offending input is left in BUILD/fuzz-findings/ (copy it to fuzz/regressions/ovcf_reader/ once
# fixed, so that the tests replay it).
#
# usage: scripts/run-fuzz.sh [SECONDS] [BUILD_FOLDER]
set -eu

seconds=${1:-60}
root=$(cd "$(dirname "$0")/.." && pwd)
build=${2:-$root/build-fuzz}

CC=clang-14 CXX=clang++-14 cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DORVANE_FUZZ=ON -DORVANE_TESTS=OFF -DORVANE_DEMO=OFF >/dev/null
cmake --build "$build" --target ovcf_reader_fuzz -j2

seeds=$build/fuzz-seeds/ovcf_reader
corpus=$build/fuzz-corpus/ovcf_reader
findings=$build/fuzz-findings
mkdir -p "$corpus" "$findings"

set -- "$corpus" "$seeds"
if [ -d "$root/fuzz/regressions/ovcf_reader" ]; then
    set -- "$@" "$root/fuzz/regressions/ovcf_reader"
fi

# libFuzzer exits non-zero on a crash, leak, timeout or out-of-memory, which fails this script.
"$build/bin/ovcf_reader_fuzz" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 -max_len=20000 \
    -print_final_stats=1 -artifact_prefix="$findings/" "$@"
echo "fuzzing for ${seconds} s found nothing"
