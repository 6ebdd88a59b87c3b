#!/usr/bin/env bash
# Runs each libFuzzer target for a bounded time (default 60 s each).
#   tests/fuzz/run.sh [SECONDS] [TARGET...]
# Seeds: the icode texts of the tests (as text for the assembler, assembled
# for the others), generated icode files, the compiled C corpus when the
# front end is built (BUILD_DIR, default build/), and regress/. The corpus
# grows in build-fuzz/corpus/ from run to run. A crash, a leak, a run longer
# than FUZZ_TIMEOUT seconds (default 10: a hang), or memory beyond
# FUZZ_RSS_MB (default 2048) leaves its input in build-fuzz/artifacts/TARGET/
# and makes the status 1; the input then belongs in regress/ with the fix.
set -uo pipefail
top=$(cd "$(dirname "$0")/../.." && pwd)
fuzz=${FUZZ_BUILD_DIR:-$top/build-fuzz}
normal=${BUILD_DIR:-$top/build}
seconds=${1:-60}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(fuzz_icode_read fuzz_icode_as fuzz_zopt)

"$top/tests/fuzz/build.sh" || exit 1

texts=$(find "$top/tests" "$top/tools" -name '*.itxt' -not -path '*/build*' | sort)
seeds=$fuzz/seeds
rm -rf "$seeds"
mkdir -p "$seeds/text" "$seeds/icode"
i=0
for t in $texts; do
  i=$((i + 1))
  cp "$t" "$seeds/text/$i.itxt"
  ASAN_OPTIONS=detect_leaks=0 "$fuzz/tools/icode-text/icode-as" "$t" -o "$seeds/icode/t$i.icode" >/dev/null 2>&1 || rm -f "$seeds/icode/t$i.icode"
done
for size in "1 20 1" "3 60 2" "10 40 3" "2 400 4"; do
  read -r fns nodes seed <<<"$size"
  ASAN_OPTIONS=detect_leaks=0 "$fuzz/tools/icode-gen/icode-gen" --functions "$fns" --nodes "$nodes" --seed "$seed" \
    -o "$seeds/icode/gen$seed.icode" >/dev/null
done
c2icode=$normal/tools/c2icode/c2icode
if [ -x "$c2icode" ]; then
  for c in $(find "$top/tests/c" -name '*.c' -not -path '*/refuse/*' | sort); do
    n=$(echo "${c#"$top"/tests/c/}" | tr / _)
    "$c2icode" "$c" -o "$seeds/icode/${n%.c}.icode" >/dev/null 2>&1 || true
  done
fi
find "$top/tests/fuzz/regress" -type f -name '*.itxt' -exec cp {} "$seeds/text/" \; 2>/dev/null
find "$top/tests/fuzz/regress" -type f -not -name '*.itxt' -not -name 'README.md' \
  -exec cp {} "$seeds/icode/" \; 2>/dev/null

status=0
for t in "${targets[@]}"; do
  corpus=$fuzz/corpus/$t
  artifacts=$fuzz/artifacts/$t
  mkdir -p "$corpus" "$artifacts"
  touch "$fuzz/$t.start"
  case $t in fuzz_icode_as) seed_dir=$seeds/text ;; *) seed_dir=$seeds/icode ;; esac
  echo "== $t for $seconds s"
  FUZZ_KNOWN=${FUZZ_KNOWN-$top/tests/fuzz/known_faults} \
    "$fuzz/tests/fuzz/$t" -max_total_time="$seconds" -timeout="${FUZZ_TIMEOUT:-10}" \
    -rss_limit_mb="${FUZZ_RSS_MB:-2048}" -max_len=65536 \
    -print_final_stats=1 -artifact_prefix="$artifacts/" "$corpus" "$seed_dir" >"$fuzz/$t.log" 2>&1
  rc=$?
  grep -E '^(#[0-9]+.*DONE|stat::number_of_executed_units|stat::peak_rss_mb|stat::slowest_unit_time_sec|==[0-9]+==ERROR|SUMMARY|ALARM|fuzz: )' \
    "$fuzz/$t.log" | head -20
  found=$(find "$artifacts" -type f -newer "$fuzz/$t.start" | head -5)
  if [ $rc -ne 0 ] || [ -n "$found" ]; then
    echo "$t: FOUND A FAULT (status $rc); inputs: ${found:-none}; log: $fuzz/$t.log"
    status=1
  fi
done
exit $status
