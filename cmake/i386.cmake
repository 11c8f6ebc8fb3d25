# 32-bit x86. Its programs run on a 64-bit processor as they are.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(triplet i686-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/${triplet}/lib/ld-linux.so.2 --library-path /usr/${triplet}/lib)
