# Instruction sets that the kernels are compiled for besides the build's own, chosen at run time.

# Not unoptimised: there inline functions of the standard library become functions, which the linker shares between the
# objects of all instruction sets.
set(CMAKE_TRY_COMPILE_CONFIGURATION ${CMAKE_BUILD_TYPE})
set(CMAKE_REQUIRED_FLAGS -mavx2)
set(CMAKE_REQUIRED_QUIET ON)
unset(VEKBF_CAN_HAVE_AVX2 CACHE)
check_cxx_source_compiles("#include <immintrin.h>
#if !defined __OPTIMIZE__ || !defined __x86_64__
#error without optimisation, or another machine
#endif
int main() { return __builtin_cpu_supports(\"avx2\") + _mm256_movemask_epi8(_mm256_setzero_si256()); }" VEKBF_CAN_HAVE_AVX2)
unset(CMAKE_REQUIRED_QUIET)
unset(CMAKE_REQUIRED_FLAGS)
unset(CMAKE_TRY_COMPILE_CONFIGURATION)

include(CMakeDependentOption)
cmake_dependent_option(VEKBF_AVX2 "Eight lanes on processors with AVX2 (x86-64, optimised builds)" ON
                       "VEKBF_CAN_HAVE_AVX2;NOT VEKBF_PORTABLE" OFF)
