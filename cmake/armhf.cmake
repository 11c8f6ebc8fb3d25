# 32-bit hard-float ARM with the vector unit.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(triplet arm-linux-gnueabihf)
set(emulator qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
set(CMAKE_C_FLAGS_INIT "-mcpu=cortex-a7 -mfpu=neon-vfpv4 -mfloat-abi=hard")
set(CMAKE_CXX_FLAGS_INIT "-mcpu=cortex-a7 -mfpu=neon-vfpv4 -mfloat-abi=hard")
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=address")
  # Leaks are looked for with a system call that the emulator lacks. What was freed is kept for a short while only: the
  # emulator gives ever higher addresses, and takes them from beyond the sanitizer's shadow in the end. (Sanitizers
  # read the environment of the emulator, not the one that it gives its program.)
  list(PREPEND CMAKE_CROSSCOMPILING_EMULATOR env ASAN_OPTIONS=detect_leaks=0:quarantine_size_mb=16)
endif()
