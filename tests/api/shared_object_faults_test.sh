#!/bin/sh
# SPDX-License-Identifier: MIT
#
# check_shared_object.py finds each fault that a link can bring in.
#
#   shared_object_faults_test.sh PYTHON READELF STATIC_LIBRARY VERSION_SCRIPT C_COMPILER [FLAG...]
set -eu
python=$1 readelf=$2 static=$3 map=$4
shift 4
here=$(dirname "$0")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
compiler=$*

# An address in read-only data, which the loader would have to write; and a function too many.
printf '%s\n' '__asm__(".section .rodata,\"a\"\n.balign 8\n.dc.a VekBf_Free\n");' >"$scratch/address.c"
echo 'int VekBf_Extra(void); int VekBf_Extra(void) { return 1; }' >"$scratch/extra.c"
sed 's/VekBf_Free;/VekBf_Free; VekBf_Extra;/' "$map" >"$scratch/extra.map"
sed '/VekBf_Free;/d' "$map" >"$scratch/fewer.map"

link() {
  # shellcheck disable=SC2086 # the compiler is words
  $compiler -shared -fPIC -o "$scratch/libvekbf.so" -Wl,--whole-archive "$static" -Wl,--no-whole-archive -Wl,--as-needed \
    -Wl,-z,relro,-z,now,-z,noexecstack -Wl,-soname,libvekbf.so.2 "$@" -lm 2>"$scratch/warnings"
}
check() { "$python" -B "$here/check_shared_object.py" --readelf "$readelf" "$scratch/libvekbf.so" >"$scratch/output" 2>&1; }
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
finds "bound at load time" "$script$map" -Wl,-z,lazy
finds "no GNU_RELRO" "$script$map" -Wl,-z,norelro
finds "has RUNPATH" "$script$map" -Wl,-rpath,/somewhere -Wl,--enable-new-dtags
finds "has RPATH" "$script$map" -Wl,-rpath,/somewhere -Wl,--disable-new-dtags
finds "has TEXTREL" "$script$map" "$scratch/address.c" -Wl,-z,notext
finds "VekBf_Extra.* too many" "$script$scratch/extra.map" "$scratch/extra.c"
finds "VekBf_Free.* too many or too few" "$script$scratch/fewer.map"
finds "defines" "$scratch/extra.c"
finds "SONAME" "$script$map" -Wl,-soname,libother.so.2
finds "needs" "$script$map" -Wl,--no-as-needed -lgcc_s
echo "every fault was found"
