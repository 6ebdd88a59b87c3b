#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test through ctest.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
"$top/scripts/install-deps.sh"
"$top/scripts/build.sh"
cd "${BUILD_DIR:-$top/build}"
ctest --output-on-failure -j"$(nproc)"
