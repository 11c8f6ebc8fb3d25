# Arithmetic and warning flags, for every target of this project.

# Every product is rounded before it is added, on every compiler and machine: never -ffast-math, never contraction.
# -fno-math-errno lets a square root be one instruction; it changes no value.
add_library(vekbf_arithmetic INTERFACE)
target_compile_options(vekbf_arithmetic INTERFACE -ffp-contract=off -fno-math-errno)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(i[3-6]86|x86|x86_64|AMD64|amd64)$")
  # gcc 12 turns neighbouring sums and differences of products into vfmsubadd although contraction is off, wherever
  # it may use that instruction (-march=x86-64-v3, native): forbid the instruction itself. It comes with AVX-512 too.
  target_compile_options(vekbf_arithmetic INTERFACE -mno-fma -mno-fma4 -mno-avx512f)
endif()
# gcc 12 drops the rounding of two neighbouring doubles to single precision and back when it makes vectors of scalars
# (dropped_rounding_test sees it on x86). Our vectors are written as such, so it need not do that anywhere.
target_compile_options(vekbf_arithmetic
                       INTERFACE $<$<CXX_COMPILER_ID:GNU>:-fno-tree-slp-vectorize>)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(i[3-6]86|x86)$")
  target_compile_options(vekbf_arithmetic INTERFACE -msse2 -mfpmath=sse)
endif()

option(VEKBF_WARNINGS_AS_ERRORS "Treat warnings as errors" ${VEKBF_IS_TOP_LEVEL})
add_library(vekbf_warnings INTERFACE)
target_compile_options(
  vekbf_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wno-psabi
                           $<$<BOOL:${VEKBF_WARNINGS_AS_ERRORS}>:-Werror>)
