#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Builds the shared object as a distributor or a host project would who wants speed at any price, loads it and plays
# the stored scenes.
#
#   hostile_build.sh SOURCE_DIR SCRATCH_DIR LOADER CC CXX host|FLAGS
#
# FLAGS stand in CFLAGS and CXXFLAGS, and nothing behind them (build type None, as Debian's tools have it); with `host`
# a project around the library sets its own options.
set -eu
source=$1 scratch=$2 loader=$3
export CC="$4" CXX="$5"
unset CFLAGS CXXFLAGS LDFLAGS 2>/dev/null || true
mkdir -p "$scratch"
if [ "$6" = host ]; then
  set -- -S "$source/tests/numerics/hostile" -DVEKBF_SOURCE="$source" -DCMAKE_BUILD_TYPE=None
else
  export CFLAGS="$6" CXXFLAGS="$6"
  set -- -S "$source" -DCMAKE_BUILD_TYPE=None -DVEKBF_BUILD_TESTS=OFF -DVEKBF_BUILD_BENCH=OFF -DVEKBF_BUILD_TOOLS=OFF \
    -DVEKBF_WARNINGS_AS_ERRORS=OFF
fi
if ! { cmake -G Ninja -B "$scratch" "$@" && cmake --build "$scratch" -j 2 --target vekbf; } >"$scratch/log" 2>&1; then
  tail -n 40 "$scratch/log"
  exit 1
fi
"$loader" "$(find "$scratch" -name libvekbf.so.2)" "$source/tests/vectors/digests.txt"
