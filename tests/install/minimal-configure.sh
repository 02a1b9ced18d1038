#!/usr/bin/env bash
# Configuring needs only the compiler, CMake, zlib, nlohmann-json and CLI11.
# GoogleTest, libcups and Google Benchmark are hidden from a fresh configure:
# it must succeed, keep the library and the tool, and leave out the C++ unit
# tests and kelvo-corpus. Asking for a part whose package is missing
# (KELVO_BUILD_CORPUS=ON) must fail instead of quietly dropping it.
#
# usage: minimal-configure.sh SOURCE_DIR CMAKE CC CXX
set -euo pipefail
src=$1 cmake=$2 cc=$3 cxx=$4
work=$(mktemp -d /tmp/kelvo-minimal-XXXXXX)
trap 'rm -rf "$work"' EXIT

hide=(-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON -DCMAKE_DISABLE_FIND_PACKAGE_Cups=ON
  -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON)
if ! "$cmake" -S "$src" -B "$work/build" -G "Unix Makefiles" -DCMAKE_C_COMPILER="$cc" \
  -DCMAKE_CXX_COMPILER="$cxx" "${hide[@]}" >"$work/configure.log" 2>&1; then
  cat "$work/configure.log"
  echo "FAIL: configuring without the optional packages failed"
  exit 1
fi
"$cmake" --build "$work/build" --target help >"$work/targets"

status=0
for target in kelvo kelvo_core kelvo-pde; do
  if ! grep -qx "\.\.\. $target" "$work/targets"; then echo "FAIL: target $target missing"; status=1; fi
done
for target in kelvo-corpus ppdx_tests tools_tests; do
  if grep -qx "\.\.\. $target" "$work/targets"; then echo "FAIL: target $target present"; status=1; fi
done
for note in "GoogleTest not found" "libcups not found"; do
  if ! grep -q "$note" "$work/configure.log"; then echo "FAIL: configure does not say \"$note\""; status=1; fi
done

if "$cmake" -S "$src" -B "$work/build-on" -G "Unix Makefiles" -DCMAKE_C_COMPILER="$cc" \
  -DCMAKE_CXX_COMPILER="$cxx" "${hide[@]}" -DKELVO_BUILD_CORPUS=ON >"$work/on.log" 2>&1; then
  echo "FAIL: KELVO_BUILD_CORPUS=ON configured without libcups"
  status=1
fi
[ "$status" -eq 0 ] && echo "configures without GoogleTest, libcups and Google Benchmark"
exit "$status"
