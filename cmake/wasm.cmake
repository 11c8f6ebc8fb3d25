# Cross compilation for WebAssembly with Debian 12's emscripten; programs run under node.
#
#   cmake -S . -B build -DCMAKE_TOOLCHAIN_FILE=cmake/wasm.cmake
#
# VEKBF_PORTABLE=ON leaves the 128-bit vectors out.

# Emscripten's own name for its machine is x86, whose flags are not WebAssembly's.
set(EMSCRIPTEN_SYSTEM_PROCESSOR wasm32)
include(/usr/share/emscripten/cmake/Modules/Platform/Emscripten.cmake)

# The C++ library of this emscripten is older than std::bit_cast.
set(CMAKE_CXX_FLAGS_INIT "-include ${CMAKE_CURRENT_LIST_DIR}/wasm_bit_cast.h")
if(NOT VEKBF_PORTABLE)
  string(APPEND CMAKE_C_FLAGS_INIT " -msimd128")
  string(APPEND CMAKE_CXX_FLAGS_INIT " -msimd128")
endif()
set(CMAKE_EXE_LINKER_FLAGS_INIT "-sALLOW_MEMORY_GROWTH=1")
# Emscripten's glue code mistakes node 18's fetch for that of a browser.
find_program(VEKBF_NODE NAMES node nodejs REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${VEKBF_NODE} --no-experimental-fetch)
