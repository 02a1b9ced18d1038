#!/usr/bin/env bash
# The first run: installs only what building and running kelvo-pde needs,
# builds only the tool, and shows the document the panel builds from the
# sample PPD. Standard output carries that report alone; the install and
# build output go to a log file named on standard error. Extra arguments go
# to "kelvo-pde inspect" (e.g. --json).
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${BUILD_DIR:-build}
mkdir -p "$build_dir"
log=$build_dir/run-sample.log
echo "run-sample: installing and building kelvo-pde; output in $log" >&2
if ! { DEPS=run BUILD_DIR=$build_dir bash scripts/build.sh kelvo-pde; } >"$log" 2>&1; then
  echo "run-sample: the build failed; the end of $log:" >&2
  tail -n 40 "$log" >&2
  exit 1
fi
"$build_dir/kelvo-pde" inspect samples/kelvo-sample.ppd "$@"
