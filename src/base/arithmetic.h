// SPDX-License-Identifier: MIT
//
// bit-exact contract: float and double operations are IEEE 754 ones that round to their own type.
// The x87 unit, for one, keeps more bits between operations.
#pragma once

#if defined(__FAST_MATH__)
#error "-ffast-math reorders sums and drops roundings: the samples would differ"
#endif

#include <cfloat>
#include <limits>

static_assert(FLT_EVAL_METHOD == 0, "arithmetic in excess precision: the samples would differ");
static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);
