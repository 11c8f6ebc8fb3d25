#!/bin/sh
# SPDX-License-Identifier: MIT
#
# The library built once more, of a copy of its sources in another folder, at another time, under other settings of the
# environment, has the same bytes.
#
#   reproducible.sh TREE WORK SHARED_LIBRARY STATIC_LIBRARY CMAKE_OPTION...
set -eu
tree=$1 work=$2 shared=$(realpath "$3") static=$(realpath "$4")
shift 4
rm -rf "$work"
copy="$work/quite another name/than before"
mkdir -p "$copy"
cp -R "$tree/CMakeLists.txt" "$tree/cmake" "$tree/include" "$tree/src" "$copy"
umask 077
cd "$work"
build() {
  cmake -S "$copy" -B "$work/b" -DVEKBF_BUILD_TESTS=OFF -DVEKBF_BUILD_BENCH=OFF -DVEKBF_BUILD_TOOLS=OFF -DVEKBF_BUILD_PLUGINS=OFF "$@" &&
    cmake --build "$work/b" -j 2 --target vekbf vekbf_static
}
export TZ=Pacific/Kiritimati LC_ALL=C.UTF-8 USER=somebody
build "$@" >log 2>&1 || { tail -n 30 log; exit 1; }
cmp "$work/b/$(basename "$shared")" "$shared"
cmp "$work/b/$(basename "$static")" "$static"
echo "$(wc -c <"$shared") and $(wc -c <"$static") bytes are the same"
