// SPDX-License-Identifier: MIT
//
// Included before all else in the build of the plain model that gives other samples: takes back the
// macros at which the library's headers refuse to be compiled so. The mathematics library is
// included first, whose vector functions hang on them.
#pragma once

#include <cmath>

#undef __FAST_MATH__
#undef __ASSOCIATIVE_MATH__
#undef __RECIPROCAL_MATH__
#undef __NO_SIGNED_ZEROS__
#undef __FINITE_MATH_ONLY__
