#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Builds the command-line tool for another machine and runs tests of tools/tests with it: sound files, raw pipes, reports in
# JSON, samples equal to those of this machine's library.
#
#   other_tool.sh SOURCE_DIR SCRATCH_DIR TOOLCHAIN ROOT PYTHON EMULATOR
#
# TOOLCHAIN is a file of cmake/ without its ending, ROOT a folder with that machine's libsndfile and what it needs.
set -eu
source=$1 scratch=$2 toolchain=$3 root=$4 python=$5 emulator=$(command -v "$6")
unset CC CXX CFLAGS CXXFLAGS LDFLAGS 2>/dev/null || true
mkdir -p "$scratch"
triplet=$("$toolchain-linux-gnu-gcc" -dumpmachine)
libraries=$root/usr/lib/$triplet
export PKG_CONFIG_LIBDIR="$libraries/pkgconfig" PKG_CONFIG_SYSROOT_DIR="$root"
if ! { cmake -G Ninja -S "$source" -B "$scratch" -DCMAKE_TOOLCHAIN_FILE="$source/cmake/$toolchain.cmake" \
  -DVEKBF_CROSS_ROOT="$root" -DCLI11_DIR="$root/usr/share/cmake/CLI11" \
  -Dnlohmann_json_DIR="$root/usr/share/cmake/nlohmann_json" -DCMAKE_EXE_LINKER_FLAGS="-Wl,-rpath-link,$libraries" \
  -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS=-O1 -DVEKBF_WARNINGS_AS_ERRORS=ON -DVEKBF_BUILD_TESTS=OFF -DVEKBF_BUILD_BENCH=OFF \
  -DVEKBF_BUILD_PLUGINS=OFF && cmake --build "$scratch" -j 2 --target vekbf_tool; } >"$scratch/log" 2>&1; then
  tail -n 40 "$scratch/log"
  exit 1
fi
# The compiler's own libraries come first: one C library, one loader.
compilers=/usr/$triplet
cat >"$scratch/tool" <<END
#!/bin/sh
exec $emulator -L $compilers -E LD_LIBRARY_PATH=$compilers/lib:$libraries $scratch/tools/vekbf "\$@"
END
chmod +x "$scratch/tool"
export VEKBF_TOOL="$scratch/tool"
cd "$source/tools/tests"
run() { "$python" -B "$@" || { echo "other_tool.sh: $* fails on $toolchain" >&2; exit 1; }; }
run test_process.py -k adaptive
run test_pipe.py
run test_formats.py
run test_interruption.py ReportTest
run test_track.py TrackTest.test_lines_of_json
