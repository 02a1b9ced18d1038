#!/usr/bin/env bash
# Installs everything the tests need, builds every target and runs the whole
# test suite. BUILD_DIR and SANITIZE as for build.sh.
set -euo pipefail
cd "$(dirname "$0")/.."
DEPS=all bash scripts/build.sh
ctest --test-dir "${BUILD_DIR:-build}" --output-on-failure -j2
