# 64-bit POWER, little-endian.
set(CMAKE_SYSTEM_PROCESSOR ppc64le)
set(triplet powerpc64le-linux-gnu)
set(emulator qemu-ppc64le)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
