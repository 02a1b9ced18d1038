#!/usr/bin/env bash
# Installs the Debian packages the project builds and tests with (skips what is there).
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  nlohmann-json3-dev libcli11-dev
  clang libclang-rt-14-dev
  libcups2-dev time zlib1g-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
echo "Installing: ${missing[*]}"
"${as_root[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
