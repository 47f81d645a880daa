#!/bin/bash
# build-checked-tbb.sh PREFIX CXX: builds the distribution's own source package of oneTBB with
# -fsanitize=thread and installs it into PREFIX. The machine's package sources stay as they are:
# apt works on a private copy of them in which each entry asks for sources. Needs no root.
set -euo pipefail

prefix=$1
cxx=$2
mkdir -p "$prefix"
work=$(mktemp -d "$prefix/work.XXXXXX")
trap 'rm -rf "$work"' EXIT

say() { echo "build-checked-tbb: $*" >&2; }

# apt's sources with "deb-src" for "deb", in both of the forms that apt reads
sources=$work/sources.d
mkdir -p "$sources" "$work/lists/partial" "$work/package"
for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    [ -f "$file" ] || continue
    sed -n 's/^[[:space:]]*deb[[:space:]]/deb-src /p' "$file" > "$sources/$(basename "$file" .list).list"
done
for file in /etc/apt/sources.list.d/*.sources; do
    [ -f "$file" ] || continue
    sed 's/^Types:.*/Types: deb-src/' "$file" > "$sources/$(basename "$file")"
done
apt=(apt-get -qq -o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$sources"
     -o "Dir::State::lists=$work/lists" -o APT::Sandbox::User=root
     -o "Dir::Cache::srcpkgcache=" -o "Dir::Cache::pkgcache=")

if ! "${apt[@]}" update || ! (cd "$work/package" && "${apt[@]}" source onetbb); then
    say "could not fetch the source package onetbb; is there a network?"
    exit 1
fi

source_dir=$(find "$work/package" -mindepth 1 -maxdepth 1 -type d)
cmake -S "$source_dir" -B "$work/build" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
      -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX="$prefix" \
      -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_INSTALL_RPATH='$ORIGIN' \
      -DTBB_SANITIZE=thread -DTBB_TEST=OFF -DTBB_STRICT=OFF > "$work/configure.log" 2>&1 ||
    { cat "$work/configure.log" >&2; say "could not configure oneTBB"; exit 1; }
cmake --build "$work/build" -j "${SKELVAR_JOBS:-$(nproc)}" > "$work/build.log" 2>&1 ||
    { tail -n 40 "$work/build.log" >&2; say "could not build oneTBB"; exit 1; }
cmake --install "$work/build" > "$work/install.log"
touch "$prefix/done"
