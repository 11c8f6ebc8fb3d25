# Debian's cross compiler for the machine of `triplet`. Its programs run under `emulator`, a user-mode emulator with its
# arguments. With VEKBF_CROSS_CLANG clang is the compiler, and the cross compiler's libraries are those it links.
# VEKBF_CROSS_ROOT is a folder with more of that machine's libraries.
set(CMAKE_SYSTEM_NAME Linux)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VEKBF_CROSS_CLANG)
if(VEKBF_CROSS_CLANG)
  set(CMAKE_C_COMPILER clang)
  set(CMAKE_CXX_COMPILER clang++)
  set(CMAKE_C_COMPILER_TARGET ${triplet})
  set(CMAKE_CXX_COMPILER_TARGET ${triplet})
  set(CMAKE_OBJDUMP ${triplet}-objdump)
else()
  set(CMAKE_C_COMPILER ${triplet}-gcc)
  set(CMAKE_CXX_COMPILER ${triplet}-g++)
endif()
# (The emulated loader would otherwise find libraries of this architecture that the machine has itself, of another
# version than the loader: threads and forks then crash.)
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L /usr/${triplet} -E LD_LIBRARY_PATH=/usr/${triplet}/lib)
set(CMAKE_FIND_ROOT_PATH /usr/${triplet} ${VEKBF_CROSS_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
