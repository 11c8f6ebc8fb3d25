#!/bin/sh
# SPDX-License-Identifier: MIT
#
# The library alone configures and builds: no test framework, no tool, no package but a compiler is looked for.
#
#   library_alone.sh SOURCE_DIR SCRATCH_DIR top|foreign|subdirectory|narrow
set -eu
source=$1
scratch=$2
how=$3
rm -rf "$scratch"
mkdir -p "$scratch/project"
unset CC CXX CFLAGS CXXFLAGS LDFLAGS 2>/dev/null || true

# Nothing in the system's CMake packages or pkg-config files may be needed.
export PKG_CONFIG_LIBDIR=/nonexistent
alone="-DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_DISABLE_FIND_PACKAGE_PkgConfig=ON
       -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON -DCMAKE_DISABLE_FIND_PACKAGE_Threads=ON
       -DCMAKE_DISABLE_FIND_PACKAGE_benchmark=ON -DGTEST_SOURCE_DIR=/nonexistent"

fail() {
  echo "library_alone.sh: $1" >&2
  exit 1
}

case "$how" in
  top)
    # shellcheck disable=SC2086 # words are wanted
    cmake -G Ninja -S "$source" -B "$scratch/build" $alone -DVEKBF_BUILD_TESTS=OFF -DVEKBF_BUILD_BENCH=OFF \
      -DVEKBF_BUILD_TOOLS=OFF
    ;;
  foreign)
    # A toolchain file that is not ours, with flags given from outside.
    cat >"$scratch/project/board.cmake" <<'TOOLCHAIN'
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
TOOLCHAIN
    flags="-march=armv7-a -mfpu=neon-vfpv3 -mfloat-abi=hard -mthumb"
    # shellcheck disable=SC2086 # words are wanted
    cmake -G Ninja -S "$source" -B "$scratch/build" $alone -DVEKBF_BUILD_TESTS=OFF -DVEKBF_BUILD_BENCH=OFF \
      -DVEKBF_BUILD_TOOLS=OFF -DCMAKE_TOOLCHAIN_FILE="$scratch/project/board.cmake" \
      "-DCMAKE_C_FLAGS=$flags" "-DCMAKE_CXX_FLAGS=$flags"
    ;;
  subdirectory)
    cat >"$scratch/project/CMakeLists.txt" <<'PROJECT'
cmake_minimum_required(VERSION 3.21)
project(host LANGUAGES C CXX)
include(CTest)
add_subdirectory(${VEKBF_SOURCE} vekbf)
if(NOT CMAKE_BUILD_TYPE STREQUAL "")
  message(FATAL_ERROR "The library chose a build type for the whole project: ${CMAKE_BUILD_TYPE}")
endif()
add_executable(host host.c)
target_link_libraries(host PRIVATE VekBf::vekbf)
add_test(NAME host COMMAND host)
PROJECT
    cat >"$scratch/project/host.c" <<'HOST'
#include "vek_bf.h"
int main(void) { return VekBf_GetBufferSize() == 82352 ? 0 : 1; }
HOST
    # No option is given: whoever includes the library gets the library only.
    # shellcheck disable=SC2086 # words are wanted
    cmake -G Ninja -S "$scratch/project" -B "$scratch/build" $alone -DVEKBF_SOURCE="$source"
    ;;
  narrow)
    # 32-bit code on a machine that CMake calls x86_64: decided by what the compiler makes, not by that name. Nothing is
    # built, as the headers and libraries of that machine need not be here.
    # shellcheck disable=SC2086 # words are wanted
    cmake -G Ninja -S "$source" -B "$scratch/build" $alone -DVEKBF_BUILD_TESTS=OFF -DVEKBF_BUILD_BENCH=OFF \
      -DVEKBF_BUILD_TOOLS=OFF -DCMAKE_C_FLAGS=-m32 -DCMAKE_CXX_FLAGS=-m32 -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY
    lines=$(ninja -C "$scratch/build" -t commands vekbf | grep -e ' -c .*/src/.*\.cpp')
    [ -n "$lines" ] || fail "no source of the library is compiled"
    echo "$lines" | while read -r line; do
      # What the compiler says of these flags, in the place of the source.
      flags=$(echo "$line" | tr ' ' '\n' | grep -E '^-[mfO]' | tr '\n' ' ')
      # shellcheck disable=SC2086 # the line is words
      method=$(${line%% -*} $flags -dM -E -x c++ /dev/null | sed -n 's/^#define __FLT_EVAL_METHOD__ //p')
      [ "$method" = 0 ] || fail "excess precision ($method): $line"
    done
    exit
    ;;
  *) fail "unknown way $how" ;;
esac

cmake --build "$scratch/build" -j 2
library=$(find "$scratch/build" -name 'libvekbf.so.2.*' -type f)
[ -n "$library" ] || fail "no shared library was built"

# A warning of a compiler that we have never seen must not end anybody's build.
! grep -q -e ' -Werror' "$scratch/build/build.ninja" || fail "-Werror reaches a build that did not ask for it"

# Only the library and the host: no test, tool or benchmark is a target.
programs=$(ninja -C "$scratch/build" -t targets all | sed -n 's/^\([^:]*\): C[X]*_EXECUTABLE_LINKER.*/\1/p')
case "$how" in
  top)
    wanted=
    # Staged for another root, with a folder for libraries as distributions have it, and with absolute folders.
    staged() {
      cmake -S "$source" -B "$scratch/build" -DCMAKE_INSTALL_PREFIX=/usr "$@" >"$scratch/log"
      cmake --build "$scratch/build" -j 2 >>"$scratch/log"
      rm -rf "$scratch/stage"
      DESTDIR="$scratch/stage" cmake --install "$scratch/build" >>"$scratch/log"
    }
    ask() { PKG_CONFIG_LIBDIR="$scratch/stage/$1/pkgconfig" pkg-config --variable="$2" vekbf; }
    staged -DCMAKE_INSTALL_LIBDIR=lib/board-linux
    [ -e "$scratch/stage/usr/lib/board-linux/libvekbf.so.2" ] || fail "not staged"
    if command -v pkg-config >/dev/null; then
      found=$(realpath "$(ask usr/lib/board-linux libdir)")
      [ "$found" = "$(realpath "$scratch/stage/usr/lib/board-linux")" ] || fail "the libraries are said to be in $found"
      found=$(realpath "$(ask usr/lib/board-linux includedir)")
      [ "$found" = "$(realpath "$scratch/stage/usr/include")" ] || fail "the header is said to be in $found"
      staged -DCMAKE_INSTALL_LIBDIR=/opt/vekbf/lib -DCMAKE_INSTALL_INCLUDEDIR=/opt/vekbf/include
      [ "$(ask opt/vekbf/lib libdir)" = /opt/vekbf/lib ] || fail "an absolute folder is not kept"
      [ "$(ask opt/vekbf/lib includedir)" = /opt/vekbf/include ] || fail "an absolute folder is not kept"
      [ -e "$scratch/stage/opt/vekbf/include/vek_bf.h" ] || fail "the header is not where it is said to be"
    fi
    ;;
  foreign)
    wanted=
    LC_ALL=C readelf -h "$library" | grep -q 'Machine: *ARM$' || fail "not a library for 32-bit ARM"
    ;;
  subdirectory)
    wanted=host
    ctest --test-dir "$scratch/build" --output-on-failure --no-tests=error
    ctest --test-dir "$scratch/build" -N | grep -qx 'Total Tests: 1' || fail "the library added tests of its own"
    [ -z "$(find "$scratch/build" -name '*.a')" ] || fail "an archive for the tests was built"
    cmake --install "$scratch/build" --prefix "$scratch/prefix"
    [ ! -e "$scratch/prefix" ] || [ -z "$(find "$scratch/prefix" -type f)" ] ||
      fail "the library is installed with a project that did not ask for it"
    ;;
esac
[ "$programs" = "$wanted" ] || fail "programs built: '$programs' instead of '$wanted'"
