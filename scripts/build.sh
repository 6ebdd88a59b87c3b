#!/usr/bin/env bash
# Configures and builds into build/ (or $BUILD_DIR) with Ninja.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$top/build}
cmake -S "$top" -B "$build" -G Ninja "$@" >/dev/null
cmake --build "$build" -j"$(nproc)"
