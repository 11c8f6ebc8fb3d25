#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Changes of the interface that a compiler lets pass are found by compare.sh.
#
#   changes_test.sh ABIDIFF BASELINE STATIC_LIBRARY TREE COMPILER...
set -eu
abidiff=$1 baseline=$2 static=$3 tree=$4
shift 4
here=$tree/tests/abi
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# build NAME [FILE FROM TO]...: the shared object with texts changed.
build() {
  name=$1
  shift
  copy=$scratch/$name
  mkdir "$copy"
  cp "$tree/include/vek_bf.h" "$tree/src/api/exports.cpp" "$tree/cmake/vekbf.map" "$copy"
  while [ $# -gt 0 ]; do
    cp "$copy/$1" "$copy/before"
    sed "s|$2|$3|" "$copy/before" >"$copy/$1"
    ! cmp -s "$copy/before" "$copy/$1" || { echo "$name: nothing to change in $1"; exit 1; }
    shift 3
  done
  # shellcheck disable=SC2086 # the compiler is words
  $compiler -std=c++20 -w -g -fPIC -fvisibility=hidden -fno-exceptions -fno-rtti -I"$copy" -I"$tree/src" -shared \
    -nodefaultlibs "$copy/exports.cpp" "$static" -lm -lc -lgcc -Wl,--version-script="$copy/vekbf.map" \
    -Wl,-soname,libvekbf.so.2 -o "$copy/libvekbf.so"
}
compiler=$*

build same
sh "$here/compare.sh" "$abidiff" "$baseline" "$scratch/same/libvekbf.so" ||
  { echo "an unchanged interface is said to have changed"; exit 1; }

# differs NAME [FILE FROM TO]...: an unlike interface, not an error of the comparison (statuses 1 and 2).
differs() {
  build "$@"
  status=0
  sh "$here/compare.sh" "$abidiff" "$baseline" "$scratch/$1/libvekbf.so" >"$scratch/output" 2>&1 || status=$?
  if [ $((status & 4)) -eq 0 ] || [ $((status & 3)) -ne 0 ]; then
    cat "$scratch/output"
    echo "$1: not found (status $status)"
    exit 1
  fi
  echo "$1: found"
}
differs wider_angle vek_bf.h 'int16_t \*out, int32_t angle' 'int16_t *out, int64_t angle' \
  exports.cpp 'int16_t\* out, int32_t angle' 'int16_t* out, int64_t angle'
differs another_result vek_bf.h '^int32_t VekBf_GetLibVersion' 'uint32_t VekBf_GetLibVersion' \
  exports.cpp '^int32_t VekBf_GetLibVersion' 'uint32_t VekBf_GetLibVersion'
differs another_field_type vek_bf.h '^  uint32_t intensity;' '  float intensity;'
differs fields_in_another_order vek_bf.h '^  int32_t bitWidth; ' '  int32_t kept; ' \
  vek_bf.h '^  int32_t micNum; ' '  int32_t bitWidth; ' vek_bf.h '^  int32_t kept; ' '  int32_t micNum; '
differs another_number_of_a_shape vek_bf.h 'RECTANGLE_ARRAY = 2' 'RECTANGLE_ARRAY = 4'
differs a_function_less vekbf.map '^ *VekBf_GetConfig;$' ''
differs another_version vekbf.map '^VEKBF_2' 'VEKBF_3'
