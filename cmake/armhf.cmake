# Debian's cross compiler for 32-bit hard-float ARM with the vector unit; programs run under the user-mode emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_C_FLAGS_INIT "-mcpu=cortex-a7 -mfpu=neon-vfpv4 -mfloat-abi=hard")
set(CMAKE_CXX_FLAGS_INIT "-mcpu=cortex-a7 -mfpu=neon-vfpv4 -mfloat-abi=hard")
# (The emulated loader would otherwise find libraries of this architecture that the machine has itself, of another
# version than the loader: threads and forks then crash.)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;/usr/arm-linux-gnueabihf;-E;LD_LIBRARY_PATH=/usr/arm-linux-gnueabihf/lib)
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=address")
  # Leaks are looked for with a system call that the emulator lacks. What was freed is kept for a short while only: the
  # emulator gives ever higher addresses, and takes them from beyond the sanitizer's shadow in the end. (Sanitizers
  # read the environment of the emulator, not the one that it gives its program.)
  list(PREPEND CMAKE_CROSSCOMPILING_EMULATOR env ASAN_OPTIONS=detect_leaks=0:quarantine_size_mb=16)
endif()
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
