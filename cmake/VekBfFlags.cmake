# Arithmetic and warning flags, for every target of this project.

# The machine that the compiler makes code for, by its own macros: the processor's name says x86_64 with -m32, too.
# Looked at anew in every run, because the flags may have changed.
include(CheckCXXSourceCompiles)
set(VEKBF_MACHINE other)
# Compiled, not linked: the libraries of that machine are not asked for.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_REQUIRED_QUIET ON)
foreach(machine x86_64 i386 aarch64 arm)
  unset(VEKBF_COMPILES_FOR_${machine} CACHE)
  check_cxx_source_compiles("#ifndef __${machine}__
#error another machine
#endif
int main() { return 0; }" VEKBF_COMPILES_FOR_${machine})
  if(VEKBF_COMPILES_FOR_${machine})
    set(VEKBF_MACHINE ${machine})
    break()
  endif()
endforeach()
unset(CMAKE_TRY_COMPILE_TARGET_TYPE)
unset(CMAKE_REQUIRED_QUIET)

# Every product is rounded before it is added, on every compiler and machine: never -ffast-math, never contraction.
# These stand behind whatever a host project or a distributor sets, and take it back.
# -fno-math-errno lets a square root be one instruction; it changes no value.
# For clang -fno-unsafe-math-optimizations would also ask for exact floating-point exceptions, which most machines lack
# (a warning). The other flags take back what it takes back, but for the subnormals of -Ofast.
add_library(vekbf_arithmetic INTERFACE)
target_compile_options(
  vekbf_arithmetic
  INTERFACE -fno-fast-math $<$<CXX_COMPILER_ID:GNU>:-fno-unsafe-math-optimizations> -fno-finite-math-only
            -fno-associative-math -fno-reciprocal-math -fsigned-zeros
            $<$<CXX_COMPILER_ID:GNU>:-fno-single-precision-constant> -ffp-contract=off -fno-math-errno
            $<$<CXX_COMPILER_ID:Clang>:-fdenormal-fp-math=ieee>)
if(VEKBF_MACHINE MATCHES "^(x86_64|i386)$")
  # gcc 12 turns neighbouring sums and differences of products into vfmsubadd although contraction is off, wherever
  # it may use that instruction (-march=x86-64-v3, native): forbid the instruction itself. It comes with AVX-512 too.
  target_compile_options(vekbf_arithmetic INTERFACE -mno-fma -mno-fma4 -mno-avx512f)
  # The x87 unit, the default of 32-bit compilers, would compute in extended precision.
  target_compile_options(vekbf_arithmetic INTERFACE -msse2 -mfpmath=sse)
endif()
# gcc 12 drops the rounding of two neighbouring doubles to single precision and back when it makes vectors of scalars
# (dropped_rounding_test sees it on x86). Our vectors are written as such, so it need not do that anywhere.
target_compile_options(vekbf_arithmetic
                       INTERFACE $<$<CXX_COMPILER_ID:GNU>:-fno-tree-slp-vectorize>)

# Linked with -ffast-math, -Ofast or the like, a shared object gets start-up code that flushes subnormals in the whole
# process that loads it. The last of these options counts; gcc 12 forgets -Ofast for a later -O2 only.
add_library(vekbf_link INTERFACE)
target_link_options(vekbf_link INTERFACE -O2 -fno-fast-math -fno-unsafe-math-optimizations)

option(VEKBF_WARNINGS_AS_ERRORS "Treat warnings as errors" OFF)
add_library(vekbf_warnings INTERFACE)
target_compile_options(
  vekbf_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wno-psabi
                           $<$<BOOL:${VEKBF_WARNINGS_AS_ERRORS}>:-Werror>)
