#!/usr/bin/env bash
# Every benchmark of zopt, one table after another: the code it gives beside
# clang and gcc (bench/quality), how fast it runs beside opt-14 and where its
# time goes (bench/speed), and how time and memory grow with the input
# (bench/scaling). Figures never fail a benchmark; a miscompile or a zopt
# failure does, and the status of the first benchmark that failed is the
# script's.
#   bench/all.sh            (BUILD_DIR chooses the build, default build/)
set -uo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$top/build}
echo "== $(uptime)"
status=0
for b in quality speed scaling; do
  python3 "$top/bench/$b" --build "$build"
  s=$?
  [ $status -eq 0 ] && [ $s -ne 0 ] && status=$s
  echo
done
exit $status
