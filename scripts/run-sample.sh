#!/usr/bin/env bash
# Builds (see build.sh) and shows the document the panel builds from the sample PPD.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh
"${BUILD_DIR:-build}/kelvo-pde" inspect samples/kelvo-sample.ppd "$@"
