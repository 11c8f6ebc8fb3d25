// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>
#include <limits>

#include "base/target.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

// |re + i im|, the same float as cabsf: the squares are exact in double precision, so only the sum
// and the root are rounded before the final rounding. If one part is infinite,
// the result is infinite, even if the other part is not a number.
inline float magnitude(float re, float im) {
  const double x = re;
  const double y = im;
  const double sum = x * x + y * y;
  if (sum != sum) {
    const bool infinite = std::fabs(x) > std::numeric_limits<float>::max() ||
                          std::fabs(y) > std::numeric_limits<float>::max();
    return infinite ? std::numeric_limits<float>::infinity() : re + im;
  }
  return static_cast<float>(std::sqrt(sum));
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
