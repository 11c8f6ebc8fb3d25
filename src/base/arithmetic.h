// SPDX-License-Identifier: MIT
//
// bit-exact contract: float and double operations are IEEE 754 ones that round to their own type.
// The flags of cmake/VekBfFlags.cmake see to it, whatever the host of the library sets for itself;
// sources that are compiled without them stop here rather than give other samples.
#pragma once

#include <cfloat>
#include <limits>

#if defined(__FAST_MATH__) || defined(__ASSOCIATIVE_MATH__) || defined(__RECIPROCAL_MATH__) || \
    defined(__NO_SIGNED_ZEROS__) || (defined(__FINITE_MATH_ONLY__) && __FINITE_MATH_ONLY__ != 0)
#error "VekBf needs IEEE arithmetic: no -ffast-math, -Ofast or -funsafe-math-optimizations"
#endif

// The x87 unit, for one, keeps more bits between operations.
static_assert(
    FLT_EVAL_METHOD == 0,
    "VekBf needs every operation rounded to its own type: on 32-bit x86 -msse2 -mfpmath=sse");
static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559,
              "VekBf needs IEEE single and double precision");
