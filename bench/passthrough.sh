#!/usr/bin/env bash
# Pass-through throughput and peak memory of zopt on generated files:
# 100 and 10,000 functions of the same size, and one 200,000-node function.
# Prints a table; a benchmark, not a test (it never fails on its figures).
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$top/build}
gen=$build/tools/icode-gen/icode-gen
zopt=$build/zopt
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$gen" --functions 100 --nodes 200 -o "$work/f100.icode"
"$gen" --functions 10000 --nodes 200 -o "$work/f10k.icode"
"$gen" --functions 1 --nodes 200000 -o "$work/one200k.icode"

printf '%-14s %10s %8s %8s %10s\n' file bytes seconds MB/s peak_KB
for f in f100 f10k one200k; do
  in=$work/$f.icode
  bytes=$(stat -c %s "$in")
  /usr/bin/time -f '%e %M' -o "$work/time" "$zopt" "$in" "$work/$f.opt" >/dev/null
  read -r secs kb <"$work/time"
  mbs=$(awk -v b="$bytes" -v s="$secs" 'BEGIN { if (s > 0) printf "%.1f", b / s / 1e6; else print "inf" }')
  printf '%-14s %10d %8s %8s %10s\n' "$f" "$bytes" "$secs" "$mbs" "$kb"
done
