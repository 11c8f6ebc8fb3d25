#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Installs the build twice, as a user would, and moves one of the trees elsewhere; looks at what is in them.
#
#   install_tree.sh SOURCE_DIR BUILD_DIR SCRATCH_DIR
#
# leaves SCRATCH_DIR/installed and SCRATCH_DIR/moved for the consumers.
set -eu
source=$1
build=$2
scratch=$3
rm -rf "$scratch"
mkdir -p "$scratch"
unset DESTDIR 2>/dev/null || true

fail() {
  echo "install_tree.sh: $1" >&2
  exit 1
}

cmake --install "$build" --prefix "$scratch/installed" >"$scratch/log"
cmake --install "$build" --prefix "$scratch/before" >>"$scratch/log"
mv "$scratch/before" "$scratch/moved"

# The library's files, whatever the folder for libraries is called here; programs and manuals are others' business.
cd "$scratch/installed"
libdir=$(dirname "$(find . -name libvekbf.so)")
libdir=${libdir#./}
type=$(find . -name 'VekBfTargets-*.cmake' | sed 's/.*VekBfTargets-//; s/\.cmake$//')
find . \( -type f -o -type l \) -not -path './bin/*' -not -path './share/*' | sed 's,^\./,,' | sort >"$scratch/found"
sort >"$scratch/wanted" <<FILES
include/vek_bf.h
$libdir/libvekbf.so
$libdir/libvekbf.so.2
$libdir/libvekbf.so.2.0.0
$libdir/cmake/VekBf/VekBfConfig.cmake
$libdir/cmake/VekBf/VekBfConfigVersion.cmake
$libdir/cmake/VekBf/VekBfTargets.cmake
$libdir/cmake/VekBf/VekBfTargets-$type.cmake
$libdir/pkgconfig/vekbf.pc
FILES
diff "$scratch/wanted" "$scratch/found" || fail "these files should not be there, or are missing"
[ "$(readlink "$libdir/libvekbf.so.2")" = libvekbf.so.2.0.0 ] || fail "libvekbf.so.2 is no link to the library"
cmp "$source/include/vek_bf.h" include/vek_bf.h || fail "the header is another"

# Nothing installed knows where it was built or installed.
for path in "$source" "$build" "$scratch"; do
  ! grep -rlF "$path" --include='*.cmake' --include='*.pc' . || fail "these files name $path"
done

# The tool, where it is built, finds the library of its own tree.
if [ -x bin/vekbf ]; then
  for tree in installed moved; do
    version=$(env -u LD_LIBRARY_PATH "$scratch/$tree/bin/vekbf" --version)
    [ "$version" = "vekbf 2.0.0" ] || fail "the tool of the tree '$tree' says '$version'"
  done
fi
