#!/usr/bin/env bash
# Builds the libFuzzer targets into build-fuzz/ (or $FUZZ_BUILD_DIR) with
# clang, the address and undefined-behaviour sanitizers and coverage for
# libFuzzer. Needs clang-14 and libclang-rt-14-dev.
set -euo pipefail
top=$(cd "$(dirname "$0")/../.." && pwd)
build=${FUZZ_BUILD_DIR:-$top/build-fuzz}
cc=${FUZZ_CC:-clang-14}
cxx=${FUZZ_CXX:-clang++-14}
cmake -S "$top" -B "$build" -G Ninja \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DZOPT_SANITIZE=ON -DZOPT_FUZZ=ON -DZOPT_WITH_C2ICODE=OFF \
  -DCMAKE_C_FLAGS="-fsanitize=fuzzer-no-link" -DCMAKE_CXX_FLAGS="-fsanitize=fuzzer-no-link" >/dev/null
# The text tools seed the corpus; icode-gen makes generated files.
cmake --build "$build" -j"${JOBS:-2}" --target fuzz_targets icode-as icode-gen
