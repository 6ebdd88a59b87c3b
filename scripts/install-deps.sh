#!/usr/bin/env bash
# Installs the Debian packages zopt and its tests need; does nothing for
# packages already present.
set -euo pipefail
pkgs=(cmake ninja-build g++ libboost-dev libgtest-dev llvm-14-tools python3 libclang-14-dev libclang-cpp14-dev llvm-14-dev csmith libcsmith-dev)
# clang and its runtimes build the fuzz targets (tests/fuzz).
pkgs+=(clang-14 libclang-rt-14-dev)
# The benchmarks (bench/): gcc and clang beside zopt, callgrind counting
# their instructions, opt-14 and llvm-dis-14, GNU time for peak memory.
pkgs+=(gcc valgrind llvm-14 time)
missing=()
for p in "${pkgs[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq "${missing[@]}"
fi
