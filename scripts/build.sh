#!/usr/bin/env bash
# Configures and builds the project. BUILD_DIR (default build) and
# SANITIZE=1 (AddressSanitizer + UBSan) select the flavour.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
build_dir=${BUILD_DIR:-build}
sanitize=OFF
[ "${SANITIZE:-0}" = 1 ] && sanitize=ON
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKELVO_SANITIZE="$sanitize" >/dev/null
cmake --build "$build_dir" -j2
