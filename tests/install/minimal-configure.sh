#!/usr/bin/env bash
# Configuring needs only the compiler, CMake, zlib, libplist, nettle, libuuid,
# libacl, libcups, nlohmann-json and CLI11. GoogleTest and Google Benchmark
# are hidden from a fresh configure: it must succeed, keep the library, the
# tool and the filter, and leave out the C++ unit tests. Without libcups the
# configure must stop and say which package is missing.
#
# usage: minimal-configure.sh SOURCE_DIR CMAKE CC CXX
set -euo pipefail
src=$1 cmake=$2 cc=$3 cxx=$4
work=$(mktemp -d /tmp/kelvo-minimal-XXXXXX)
trap 'rm -rf "$work"' EXIT

hide=(-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON)
if ! "$cmake" -S "$src" -B "$work/build" -G "Unix Makefiles" -DCMAKE_C_COMPILER="$cc" \
  -DCMAKE_CXX_COMPILER="$cxx" "${hide[@]}" >"$work/configure.log" 2>&1; then
  cat "$work/configure.log"
  echo "FAIL: configuring without the optional packages failed"
  exit 1
fi
"$cmake" --build "$work/build" --target help >"$work/targets"

status=0
for target in kelvo kelvo_core kelvo-pde kelvo-inject; do
  if ! grep -qx "\.\.\. $target" "$work/targets"; then echo "FAIL: target $target missing"; status=1; fi
done
for target in ppdx_tests tools_tests; do
  if grep -qx "\.\.\. $target" "$work/targets"; then echo "FAIL: target $target present"; status=1; fi
done
if ! grep -q "GoogleTest not found" "$work/configure.log"; then
  echo "FAIL: configure does not say \"GoogleTest not found\""
  status=1
fi

if "$cmake" -S "$src" -B "$work/build-nocups" -G "Unix Makefiles" -DCMAKE_C_COMPILER="$cc" \
  -DCMAKE_CXX_COMPILER="$cxx" "${hide[@]}" -DCMAKE_DISABLE_FIND_PACKAGE_Cups=ON >"$work/nocups.log" 2>&1; then
  echo "FAIL: configured without libcups"
  status=1
elif ! grep -q "libcups not found" "$work/nocups.log"; then
  echo "FAIL: configure without libcups does not say \"libcups not found\""
  status=1
fi
[ "$status" -eq 0 ] && echo "configures without GoogleTest and Google Benchmark, and names libcups when it is missing"
exit "$status"
