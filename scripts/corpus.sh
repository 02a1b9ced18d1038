#!/usr/bin/env bash
# Reads every PPD of Debian's openprinting-ppds package with our reader and
# with libcups's, under the sanitizer build, and compares what both report.
#
#   bash scripts/corpus.sh              # the whole collection (~6,600 files)
#   bash scripts/corpus.sh --every 10   # every 10th file
#
# Two passes: our reader alone in the sanitizer build (build-sanitize), then
# both readers in the plain build (build), which fails on any difference
# nobody has explained. Extra arguments go to kelvo-corpus (see its --help).
# CORPUS_DIR is where the PPDs are unpacked once (default build-corpus/ppds).
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(openprinting-ppds python3 xz-utils)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

corpus=${CORPUS_DIR:-build-corpus/ppds}
if [ ! -f "$corpus/.complete" ]; then
  rm -rf "$corpus"
  mkdir -p "$corpus"
  python3 scripts/corpus-extract.py "$corpus"
  touch "$corpus/.complete"
fi

# Pass 1: our reader alone in the ASan + UBSan build: any crash or sanitizer
# report fails the run. (libcups is left out here: its many small
# allocations make it a hundred times slower under ASan.)
BUILD_DIR=build-sanitize SANITIZE=1 bash scripts/build.sh
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
echo "== our reader under ASan + UBSan"
build-sanitize/kelvo-corpus --no-cups "$@" "$corpus"

# Pass 2: both readers in the optimised build: differences and speed.
BUILD_DIR=build bash scripts/build.sh
echo "== our reader against libcups"
build/kelvo-corpus "$@" "$corpus"
