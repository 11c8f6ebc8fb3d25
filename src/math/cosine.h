// SPDX-License-Identifier: MIT
#pragma once

namespace vekbf {

inline constexpr double kCosineLimit = 0x1.8p25;  // domain: |x| <= kCosineLimit

// cos x in double precision, for the window and the look direction; not-a-number outside the
// domain. The same double on every machine, whatever its C library gives: correctly rounded but for
// at most one argument in about 2^20, and there the neighbour.
double cosine(double x);

}  // namespace vekbf
