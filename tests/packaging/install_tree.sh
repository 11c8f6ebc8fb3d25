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
version=$(sed -n 's/^  VERSION \([0-9.]*\)$/\1/p' "$source/CMakeLists.txt")
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

# The library's files, whatever the folder for libraries is called here; programs, manuals and
# plug-ins are others' business.
cd "$scratch/installed"
libdir=$(dirname "$(find . -name libvekbf.so)")
libdir=${libdir#./}
type=$(find . -name 'VekBfTargets-*.cmake' | sed 's/.*VekBfTargets-//; s/\.cmake$//')
find . \( -type f -o -type l \) -not -path './bin/*' -not -path './share/*' -not -path './etc/*' \
  -not -path '*/alsa-lib/*' -not -path '*/gstreamer-1.0/*' -not -path '*/ladspa/*' -not -path '*/lv2/*' \
  -not -path '*/systemd/*' | sed 's,^\./,,' | sort >"$scratch/found"
sort >"$scratch/wanted" <<FILES
include/vek_bf.h
include/vek_direction.h
include/vek_stream.h
$libdir/libvekbf-direction.a
$libdir/libvekbf-direction.so
$libdir/libvekbf-direction.so.2
$libdir/libvekbf-direction.so.$version
$libdir/libvekbf-stream.a
$libdir/libvekbf-stream.so
$libdir/libvekbf-stream.so.2
$libdir/libvekbf-stream.so.$version
$libdir/libvekbf.a
$libdir/libvekbf.so
$libdir/libvekbf.so.2
$libdir/libvekbf.so.$version
$libdir/cmake/VekBf/VekBfConfig.cmake
$libdir/cmake/VekBf/VekBfConfigVersion.cmake
$libdir/cmake/VekBf/VekBfTargets.cmake
$libdir/cmake/VekBf/VekBfTargets-$type.cmake
$libdir/pkgconfig/vekbf-direction.pc
$libdir/pkgconfig/vekbf-stream.pc
$libdir/pkgconfig/vekbf.pc
FILES
diff "$scratch/wanted" "$scratch/found" || fail "these files should not be there, or are missing"
[ "$(readlink "$libdir/libvekbf.so.2")" = libvekbf.so.$version ] || fail "libvekbf.so.2 is no link to the library"
for header in vek_bf.h vek_direction.h vek_stream.h; do
  cmp "$source/include/$header" "include/$header" || fail "$header is another"
done

diff -r "$source/arrays" share/vekbf/arrays || fail "the arrays are others"

# Nothing installed knows where it was built or installed.
for path in "$source" "$build" "$scratch"; do
  ! grep -rlF "$path" --include='*.cmake' --include='*.pc' . || fail "these files name $path"
done

# The tool, where it is built, finds the library of its own tree.
if [ -x bin/vekbf ]; then
  for tree in installed moved; do
    told=$(env -u LD_LIBRARY_PATH "$scratch/$tree/bin/vekbf" --version)
    [ "$told" = "vekbf $version" ] || fail "the tool of the tree '$tree' says '$told'"
  done
fi
