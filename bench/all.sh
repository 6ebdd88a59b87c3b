#!/usr/bin/env bash
# Every benchmark of zopt, one table after another: pass-through throughput
# and peak memory on generated files, the same on the compiled C corpus per
# level, and the interpreter's weighted cost of each corpus program before and
# after zopt (the code-quality figure). Benchmarks never fail on their figures.
#   bench/all.sh [csmith seeds A-B to add to the cost table]
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$top/build}
echo "== load average: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"
echo "== pass-through on generated files"
BUILD_DIR=$build "$top/bench/passthrough.sh"
echo
echo "== the compiled corpus"
python3 "$top/bench/corpus.py" --build "$build" ${1:+--seeds "$1"}
exit 0
