# 32-bit ARM without a floating-point unit.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(triplet arm-linux-gnueabi)
set(emulator qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
