#!/usr/bin/env bash
# Builds (see build.sh) and runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
ctest --test-dir "${BUILD_DIR:-build}" --output-on-failure -j2
