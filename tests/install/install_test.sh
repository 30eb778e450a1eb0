#!/bin/sh
# Installs the build into a fresh prefix and uses it as a library user
# would: the library loads by its path alone (it finds its companion
# through its own run path), a program builds against it with pkg-config,
# and a CMake project builds against it with find_package.
# Usage: install_test.sh BUILD_DIR LIBDIR WORK_DIR C_COMPILER
set -eu
build=$1 libdir=$2 work=$3 cc=$4
here=$(cd "$(dirname "$0")" && pwd)
rm -rf "$work"
mkdir -p "$work"
prefix=$work/prefix
unset LD_LIBRARY_PATH PKG_CONFIG_PATH CMAKE_PREFIX_PATH || true

cmake --install "$build" --prefix "$prefix" >/dev/null
lib=$prefix/$libdir/libqrbgenv8.so.6.1
test -f "$prefix/$libdir/libqrbcore.so.6.1"

"$cc" "$here/loader.c" -o "$work/loader" -ldl
"$work/loader" "$lib"
echo "loads by its path and finds libqrbcore next to it"

PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
export PKG_CONFIG_PATH
# shellcheck disable=SC2046
"$cc" "$here/consumer/main.c" -o "$work/consumer-pc" $(pkg-config --cflags --libs qrbgen) -Wl,-rpath,"$prefix/$libdir"
"$work/consumer-pc"
unset PKG_CONFIG_PATH

cmake -S "$here/consumer" -B "$work/consumer-cmake" -DCMAKE_C_COMPILER="$cc" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/consumer-cmake" >/dev/null
"$work/consumer-cmake/consumer"
