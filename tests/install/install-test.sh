#!/usr/bin/env bash
# `cmake --install` of a finished build into a fresh prefix under /tmp, then
# what a user of that prefix does: run the tool, build a C program with the
# flags pkg-config gives (-Wall -Wextra -pedantic -Werror), build a CMake
# project that says find_package(Kelvo), and run both programs.
#
# usage: install-test.sh BUILD_DIR THIS_DIR CC CMAKE [EXTRA_FLAGS]
# EXTRA_FLAGS go to both consumers (the sanitizer flags of a sanitized build,
# whose library only loads into an instrumented program). Exit 77: skipped.
set -euo pipefail
build=$1 here=$2 cc=$3 cmake=$4 flags=${5:-}
sample=$here/../../samples/kelvo-sample.ppd
read -r -a extra <<<"$flags"

if ! command -v pkg-config >/dev/null; then
  echo "skipped: pkg-config is not installed"
  exit 77
fi

work=$(mktemp -d /tmp/kelvo-install-XXXXXX)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
fail() {
  echo "FAIL: $*"
  exit 1
}

# The filter goes to the print server's folder, outside any prefix: staged
# under DESTDIR here, so the test never writes into the machine's CUPS.
for component in runtime development; do
  "$cmake" --install "$build" --prefix "$prefix" --component "$component" >>"$work/install.log" ||
    { cat "$work/install.log"; fail "install $component"; }
done
DESTDIR=$work/staged "$cmake" --install "$build" --component filter >>"$work/install.log" ||
  { cat "$work/install.log"; fail "install filter"; }
filter_dir=$(sed -n 's/^KELVO_CUPS_FILTER_DIR:PATH=//p' "$build/CMakeCache.txt")
[ -x "$work/staged$filter_dir/kelvo-inject" ] || fail "kelvo-inject not installed in $filter_dir"
[ "$(stat -c %a "$work/staged$filter_dir/kelvo-inject")" = 755 ] || fail "kelvo-inject is not mode 755"

# What the prefix holds. The library directory is lib/ or lib/<multiarch>/,
# as GNUInstallDirs chose for the configured prefix: find it by the .pc file.
pc=$(find "$prefix" -name kelvo.pc -path '*/pkgconfig/*')
[ -n "$pc" ] || fail "no kelvo.pc installed"
libdir=$(dirname "$(dirname "$pc")")
for f in bin/kelvo-pde include/kelvo/KelvoPPD.h include/kelvo/KelvoPPDCompat.h include/kelvo/KelvoVersion.h \
  share/man/man1/kelvo-pde.1 share/bash-completion/completions/kelvo-pde share/doc/kelvo/LICENSE \
  "${libdir#"$prefix"/}/cmake/Kelvo/KelvoConfig.cmake" "${libdir#"$prefix"/}/cmake/Kelvo/KelvoConfigVersion.cmake" \
  "${libdir#"$prefix"/}/cmake/Kelvo/KelvoTargets.cmake"; do
  [ -e "$prefix/$f" ] || fail "$f not installed"
done
# The development link and the run-time name point at the versioned file.
[ -L "$libdir/libkelvo.so" ] && [ -L "$libdir/libkelvo.so.0" ] || fail "libkelvo.so links missing in $libdir"
[ "$(readlink "$libdir/libkelvo.so")" = libkelvo.so.0 ] || fail "libkelvo.so does not point at libkelvo.so.0"
objdump -p "$libdir/libkelvo.so.0" | grep -q 'SONAME *libkelvo.so.0$' || fail "SONAME is not libkelvo.so.0"
# Only what the C interface needs is installed: no static core, no private headers.
if find "$prefix" -name '*.a' -o -name 'QJVPPD.h' | grep -q .; then fail "internal files installed"; fi

# The tool runs from the prefix as it is, with nothing set up for it.
env -u LD_LIBRARY_PATH "$prefix/bin/kelvo-pde" --help >"$work/help.txt" || fail "kelvo-pde --help"
grep -q inspect "$work/help.txt" || fail "kelvo-pde --help does not list inspect"
env -u LD_LIBRARY_PATH "$prefix/bin/kelvo-pde" inspect "$sample" >/dev/null || fail "kelvo-pde inspect"

# pkg-config, from the prefix only.
export PKG_CONFIG_PATH=$libdir/pkgconfig PKG_CONFIG_LIBDIR=$libdir/pkgconfig
version=$(sed -n 's/^#define KELVO_VERSION_STRING "\(.*\)"$/\1/p' "$prefix/include/kelvo/KelvoVersion.h")
[ "$(pkg-config --modversion kelvo)" = "$version" ] || fail "pkg-config version is not $version"
read -r -a pcflags <<<"$(pkg-config --cflags --libs kelvo)"
echo "pkg-config --cflags --libs kelvo: ${pcflags[*]}"
for std in c99 c11; do
  "$cc" -std=$std -Wall -Wextra -pedantic -Werror "${extra[@]}" "$here/consumer.c" -o "$work/consumer-$std" \
    "${pcflags[@]}" || fail "consumer.c does not compile as $std with pkg-config's flags"
  LD_LIBRARY_PATH=$libdir "$work/consumer-$std" "$sample" || fail "consumer ($std) failed"
done

# CMake: find_package(Kelvo) and the imported target Kelvo::kelvo.
"$cmake" -S "$here/cmake-consumer" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_C_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" \
  >"$work/cmake.log" 2>&1 || { cat "$work/cmake.log"; fail "find_package(Kelvo) project does not configure"; }
"$cmake" --build "$work/cmake-build" >"$work/cmake-build.log" 2>&1 ||
  { cat "$work/cmake-build.log"; fail "find_package(Kelvo) project does not build"; }
"$work/cmake-build/kelvo-consumer" "$sample" || fail "find_package(Kelvo) consumer failed"
echo "installed into $prefix; tool, pkg-config and CMake consumers all work"
