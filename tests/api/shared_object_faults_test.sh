#!/bin/sh
# SPDX-License-Identifier: MIT
#
# check_shared_object.py finds faults that a link can bring in: of the headers, of the symbols, of the libraries.
#
#   shared_object_faults_test.sh PYTHON READELF STATIC_LIBRARY SOURCE_DIR C_COMPILER [FLAG...]
set -eu
python=$1 readelf=$2 static=$3 source=$4
shift 4
here=$(dirname "$0")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
compiler=$*
map=$source/cmake/vekbf.map

echo 'int VekBf_Extra(void); int VekBf_Extra(void) { return 1; }' >"$scratch/extra.c"
echo 'VEKBF_2 { global: VekBf_*; local: *; };' >"$scratch/extra.map"

link() {
  # shellcheck disable=SC2086 # the compiler is words
  $compiler -shared -fPIC -o "$scratch/libvekbf.so" -Wl,--whole-archive "$static" -Wl,--no-whole-archive -Wl,--as-needed \
    -Wl,-z,relro,-z,now,-z,noexecstack -Wl,-soname,libvekbf.so.2 "$@" -lm 2>"$scratch/warnings"
}
product=vekbf
check() { "$python" -B "$here/check_shared_object.py" --readelf "$readelf" --product "$product" \
  --header "$source/include/vek_bf.h" "$scratch/libvekbf.so" >"$scratch/output" 2>&1; }
finds() {
  word=$1
  shift
  link "$@" || { cat "$scratch/warnings"; exit 1; }
  if check; then echo "passes: $*"; exit 1; fi
  grep -q -- "$word" "$scratch/output" || { echo "does not say \"$word\": $*"; cat "$scratch/output"; exit 1; }
}

script=-Wl,--version-script=
link "$script$map" && check || { echo "a good object is refused"; cat "$scratch/warnings" "$scratch/output"; exit 1; }
finds "executable stack" "$script$map" -Wl,-z,execstack
finds "VekBf_Extra.* too many" "$script$scratch/extra.map" "$scratch/extra.c"
finds "needs" "$script$map" -Wl,--no-as-needed -lgcc_s
finds "no unwind table for VekBf_Extra" "$script$scratch/extra.map" -fno-asynchronous-unwind-tables "$scratch/extra.c"
# The beamformer allocates; the direction finder may not.
product=vekbf-direction
finds "imports .*calloc.*malloc" "$script$map"
echo "every planted fault was found"
