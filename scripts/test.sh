#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test through ctest; then
# the same tests on a build with the address and undefined-behaviour
# sanitizers (build-asan/), and each fuzz target for a short time
# (build-fuzz/). ZOPT_TEST_STAGES picks stages (default: "normal sanitize
# fuzz"); FUZZ_SECONDS is the time of each fuzz target (default 60).
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$top/build}
stages=${ZOPT_TEST_STAGES:-normal sanitize fuzz}
jobs=$(nproc)
status=0

stage() {
  echo "===== $1 ($(date +%T))"
}
has() {
  [[ " $stages " == *" $1 "* ]]
}

"$top/scripts/install-deps.sh"

if has normal; then
  stage "build and test: $build"
  BUILD_DIR=$build "$top/scripts/build.sh"
  (cd "$build" && ctest --output-on-failure -j"$jobs") || status=1
fi

if has sanitize; then
  # The C front end links Clang: the sanitizer build leaves it out, and its
  # differential tests take the normal build's front end when there is one.
  # The sanitizers slow every run several times over, so they see a fifth of
  # the csmith seeds the normal build compares.
  asan=${ASAN_BUILD_DIR:-$top/build-asan}
  stage "build and test with the sanitizers: $asan"
  BUILD_DIR=$asan "$top/scripts/build.sh" -DZOPT_SANITIZE=ON -DZOPT_WITH_C2ICODE=OFF \
    -DZOPT_DIFF_C2ICODE="$build/tools/c2icode/c2icode" \
    -DZOPT_DIFF_CSMITH_SEEDS=1-24 -DZOPT_DIFF_CSMITH_MIN=9
  (cd "$asan" && ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1} ctest --output-on-failure -j"$jobs") || status=1
fi

if has fuzz; then
  stage "fuzzing, ${FUZZ_SECONDS:-60} s per target"
  BUILD_DIR=$build "$top/tests/fuzz/run.sh" "${FUZZ_SECONDS:-60}" || status=1
fi

stage "done, status $status"
exit $status
