#!/usr/bin/env bash
# Installs the Debian packages the project needs, skipping what is there.
#
#   bash scripts/install-deps.sh run   building and running kelvo-pde only
#   bash scripts/install-deps.sh all   everything (the default): tests, the C
#                                      interface checks, corpus tool, fuzzing,
#                                      benchmark, the PPD checker, the Qt
#                                      panel and programs
#
# Messages go to standard error: callers keep standard output for reports.
set -euo pipefail

# Configuring needs only the compiler, CMake, pkg-config, zlib, libplist,
# nlohmann-json, CLI11, libcups (queues and the filter), nettle (credentials),
# libuuid (file names) and libacl (who may read an injection file); the rest
# is found when present. The tests run a private CUPS server (cupsd, pstops
# from the core drivers, pdftops from cups-filters) and judge the jobs it
# writes with Ghostscript. The desktop panel and programs need Qt 6 (Widgets,
# PrintSupport, Test) and a font for the offscreen platform to draw text
# with (without one it draws boxes, silently).
run_packages=(g++ make cmake pkg-config zlib1g-dev libplist-dev nlohmann-json3-dev libcli11-dev libcups2-dev
  nettle-dev uuid-dev libacl1-dev)
more_packages=(
  build-essential pkg-config binutils file gzip
  libgtest-dev libgmock-dev libbenchmark-dev
  clang libclang-rt-14-dev
  cups-daemon cups-client cups-core-drivers cups-filters time
  ghostscript poppler-utils python3
  qt6-base-dev fonts-dejavu-core
)

case ${1:-all} in
  run) packages=("${run_packages[@]}") ;;
  all) packages=("${run_packages[@]}" "${more_packages[@]}") ;;
  *) echo "usage: $0 [run|all]" >&2; exit 2 ;;
esac

missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
echo "Installing: ${missing[*]}" >&2
"${as_root[@]}" apt-get update -qq >&2
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
