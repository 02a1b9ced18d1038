#!/usr/bin/env bash
# Configures and builds the project: every target, or only the TARGETs
# given (e.g. kelvo-pde). BUILD_DIR (default build) and SANITIZE=1
# (AddressSanitizer + UBSan) select the flavour; DEPS=run installs only
# what building and running kelvo-pde needs (default: all, see
# install-deps.sh). Parts whose packages are missing (tests, corpus tool)
# are left out by the configuration and come in once they are installed.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh "${DEPS:-all}"
build_dir=${BUILD_DIR:-build}
sanitize=OFF
[ "${SANITIZE:-0}" = 1 ] && sanitize=ON
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKELVO_SANITIZE="$sanitize" >/dev/null
targets=()
for t in "$@"; do
  targets+=(--target "$t")
done
cmake --build "$build_dir" -j2 "${targets[@]}"
