# 64-bit MIPS, little-endian.
set(CMAKE_SYSTEM_PROCESSOR mips64)
set(triplet mips64el-linux-gnuabi64)
set(emulator qemu-mips64el -cpu MIPS64R2-generic)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
