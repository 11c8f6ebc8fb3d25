#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Builds host applications against an installed tree and runs them.
#
#   consume.sh CONSUMERS_DIR TREE SCRATCH_DIR find_package|find_package_c|pkg_config|sysroot
set -eu
consumers=$1
tree=$2
scratch=$3
how=$4
wanted=$(sed -n 's/^  VERSION \([0-9.]*\)$/\1/p' "$consumers/../../../CMakeLists.txt")
rm -rf "$scratch"
mkdir -p "$scratch"
unset CC CXX CFLAGS CXXFLAGS LDFLAGS LDLIBS MAKEFLAGS PKG_CONFIG_PATH PKG_CONFIG_SYSROOT_DIR 2>/dev/null || true

fail() {
  echo "consume.sh: $1" >&2
  exit 1
}

libdir=$(dirname "$(find "$tree" -name libvekbf.so)")
# What is linked, or found at run time, is the library of this tree and no other.
of_this_tree() {
  linked=$(ldd "$1" | sed -n "s/.*$2\\.so\\.2 => \\(.*\\) (.*/\\1/p")
  [ "$(realpath "$linked")" = "$(realpath "$libdir/$2.so.2")" ] || fail "$1 runs with '$linked'"
}

find_it="-DCMAKE_PREFIX_PATH=$tree -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF"
case "$how" in
  find_package | find_package_c)
    # shellcheck disable=SC2086 # words are wanted
    cmake -G Ninja -S "$consumers/$how" -B "$scratch" $find_it
    cmake --build "$scratch" -j 1
    ctest --test-dir "$scratch" --output-on-failure --no-tests=error
    of_this_tree "$scratch/host_c" libvekbf
    ! ldd "$scratch/host_stream_static" | grep vekbf || fail "the static host needs the shared library"
    [ "$how" = find_package_c ] || of_this_tree "$scratch/host_stream" libvekbf-stream
    grep -qx "VekBf_DIR:PATH=$libdir/cmake/VekBf" "$scratch/CMakeCache.txt" || fail "found elsewhere"
    # Version 2 is neither 1 nor 3; any 2 up to the installed one will do.
    [ "$how" = find_package ] || exit 0
    minor=${wanted#2.}
    minor=${minor%%.*}
    for version in 1.9 "$wanted.1" "2.$((minor + 1))" 3; do
      # shellcheck disable=SC2086 # words are wanted
      if cmake -S "$consumers/$how" -B "$scratch" $find_it -DWANTED_VERSION=$version >"$scratch/log" 2>&1; then
        fail "found as version $version"
      fi
      grep -qF "version: $wanted" "$scratch/log" || fail "refuses version $version for another reason"
    done
    # shellcheck disable=SC2086 # words are wanted
    cmake -S "$consumers/$how" -B "$scratch" $find_it -DWANTED_VERSION="2.$minor" >/dev/null
    ;;
  pkg_config)
    export PKG_CONFIG_LIBDIR="$libdir/pkgconfig"
    make -C "$scratch" -f "$consumers/$how/Makefile"
    for host in host_c host_cpp host_stream; do
      library=libvekbf
      [ $host != host_stream ] || library=libvekbf-stream
      LD_LIBRARY_PATH="$libdir" "$scratch/$host" || fail "$host fails"
      (export LD_LIBRARY_PATH="$libdir" && of_this_tree "$scratch/$host" "$library")
    done
    "$scratch/host_stream_static" || fail "host_stream_static fails"
    for package in vekbf vekbf-stream; do
      [ "$(pkg-config --modversion $package)" = "$wanted" ] || fail "$package: not version $wanted"
      ! pkg-config "$package >= 3" || fail "$package satisfies version 3"
    done
    ;;
  sysroot)
    # The tree as the root of a device: paths are to be those of the device as the compiler of this machine sees them.
    export PKG_CONFIG_LIBDIR="$libdir/pkgconfig" PKG_CONFIG_SYSROOT_DIR="$tree"
    flags=$(pkg-config --cflags --libs vekbf)
    for flag in $flags; do
      case "$flag" in
        -I*) [ "$(realpath "${flag#-I}")" = "$(realpath "$tree/include")" ] || fail "$flag" ;;
        -L*) [ "$(realpath "${flag#-L}")" = "$(realpath "$libdir")" ] || fail "$flag" ;;
        -lvekbf) ;;
        *) fail "unexpected $flag" ;;
      esac
    done
    case "$flags" in *-I*-L*-lvekbf*) ;; *) fail "incomplete: $flags" ;; esac
    ;;
  *) fail "unknown way $how" ;;
esac
