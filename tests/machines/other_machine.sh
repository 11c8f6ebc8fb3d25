#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Builds the library alone for another machine or C library, with a block server, and plays scenes through it.
#
#   other_machine.sh SOURCE_DIR SCRATCH_DIR PLAYER SHARE TOOLCHAIN [EMULATOR...]
#
# TOOLCHAIN is a file of cmake/ without its ending.
set -eu
source=$1 scratch=$2 player=$3 share=$4 toolchain=$5
shift 5
unset CC CXX CFLAGS CXXFLAGS LDFLAGS 2>/dev/null || true
mkdir -p "$scratch"
if ! { cmake -G Ninja -S "$source/tests/machines/library" -B "$scratch" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_TOOLCHAIN_FILE="$source/cmake/$toolchain.cmake" && cmake --build "$scratch" -j 2; } >"$scratch/log" 2>&1; then
  tail -n 40 "$scratch/log"
  exit 1
fi
"$player" "$source/tests/vectors/digests.txt" "$share" "$@" "$scratch/block_server"
