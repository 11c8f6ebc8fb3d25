#!/bin/sh
# SPDX-License-Identifier: MIT
#
# The public header compiles alone, as every supported standard of C and C++, without a warning.
#
#   check_header.sh INCLUDE_FOLDER C_COMPILER CXX_COMPILER [FLAG...]
set -u
include=$1 cc=$2 cxx=$3
shift 3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
bad=0

# What a host writes that includes it twice and calls everything.
cat >"$scratch/host.c" <<'END'
#include "vek_bf.h"
#include "vek_bf.h"
uint32_t all(void *buffer, const VekBfInit *init, const VekBfConfig *config, const int16_t *in, int16_t *out);
uint32_t all(void *buffer, const VekBfInit *init, const VekBfConfig *config, const int16_t *in, int16_t *out) {
  uint32_t samples = VekBf_GetBufferSize() + (uint32_t)VekBf_GetLibVersion();
  VekBfHandle handle = VekBf_Init(buffer, init);
  return VekBf_SetConfig(handle, config) | VekBf_GetConfig(handle) | VekBf_GetInputSamples(handle, &samples) |
         VekBf_Run(handle, in, out, 90) | VekBf_Free(handle);
}
END
cp "$scratch/host.c" "$scratch/host.cpp"
# The warnings are on: this must not pass. (The header is no system header, whose warnings are kept quiet.)
{ cat "$include/vek_bf.h" && echo 'static inline int narrowed(double x) { return x; }'; } >"$scratch/vek_bf.h"

compile() {
  folder=$1 compiler=$2 standard=$3 file=$4
  shift 4
  "$compiler" "$@" -std="$standard" -Wall -Wextra -Wpedantic -Wconversion -Werror -fsyntax-only -iquote "$folder" "$file"
}

try() {
  compiler=$1 standard=$2 file=$3
  shift 3
  compile "$include" "$compiler" "$standard" "$scratch/$file" "$@" || { echo "$compiler -std=$standard: refused"; bad=1; }
  if compile "$scratch" "$compiler" "$standard" "$scratch/$file" "$@" 2>/dev/null; then
    echo "$compiler -std=$standard: a planted conversion was not found"
    bad=1
  fi
}
# In a folder of their own: a file's own folder comes first.
mkdir "$scratch/hosts"
mv "$scratch"/host.* "$scratch/hosts"
for standard in c99 c11 c17; do try "$cc" $standard hosts/host.c "$@"; done
for standard in c++11 c++14 c++17 c++20; do try "$cxx" $standard hosts/host.cpp "$@"; done
exit $bad
