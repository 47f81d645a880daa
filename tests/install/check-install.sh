#!/bin/bash
# check-install.sh CMAKE BUILD_DIR WORK_DIR CXX PKG_CONFIG VERSION: installs BUILD_DIR below
# WORK_DIR, moves the tree elsewhere, and there builds and runs the consumer in both ways that the
# README promises.
set -euo pipefail
cmake=$1
build=$2
work=$3
cxx=$4
pkg_config=$5
version=$6
consumer=$(dirname "$0")/consumer

rm -rf "$work/first" "$work/moved" "$work/by-cmake" "$work/by-pkg-config"
"$cmake" --install "$build" --prefix "$work/first" > "$work/install.log"
mv "$work/first" "$work/moved"  # an installed tree may be moved
prefix=$work/moved

echo "== by find_package"
"$cmake" -S "$consumer" -B "$work/by-cmake" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_PREFIX_PATH="$prefix" -DSKELVAR_EXPECTED_VERSION="$version"
"$cmake" --build "$work/by-cmake"
"$work/by-cmake/consumer"

echo "== by pkg-config"
libdir=$(dirname "$(find "$prefix" -name libskelvarcore.so)")
export PKG_CONFIG_PATH=$libdir/pkgconfig
[ "$("$pkg_config" --modversion skelvar)" = "$version" ]
mkdir "$work/by-pkg-config"
# the words of --cflags and --libs are meant to be split
# shellcheck disable=SC2046
"$cxx" $("$pkg_config" --cflags skelvar) "$consumer/main.cpp" -o "$work/by-pkg-config/consumer" \
    $("$pkg_config" --libs skelvar) "-Wl,-rpath,$libdir"
"$work/by-pkg-config/consumer"
