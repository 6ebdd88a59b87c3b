#!/usr/bin/env bash
# Installs what is missing, builds, and optimises the bundled example: the
# example's icode goes through zopt at level 2, and when the interpreter is
# built the program runs before and after, with its cost figures.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$top/build}
"$top/scripts/install-deps.sh"
"$top/scripts/build.sh"
out=$(mktemp -d)
cp "$top/examples/sieve.icode" "$out/"
example=$out/sieve.icode
echo "== zopt --opt_level=2 $example"
"$build/zopt" --opt_level=2 --debug_level=1 "$example" "$out/sieve.opt"
echo "output: $out/sieve.opt ($(stat -c %s "$out/sieve.opt") bytes), debug log: $out/sieve.odb"
if [ -x "$build/tools/icode-text/icode-dis" ]; then
  echo "== the optimised file as text (first lines)"
  "$build/tools/icode-text/icode-dis" "$out/sieve.opt" | head -40
fi
if [ -x "$build/tools/icode-run/icode-run" ]; then
  echo "== run before"
  "$build/tools/icode-run/icode-run" --stats "$example"
  echo "== run after"
  "$build/tools/icode-run/icode-run" --stats "$out/sieve.opt"
fi
