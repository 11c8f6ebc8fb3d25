// SPDX-License-Identifier: MIT
#pragma once

#include "base/complex.h"

namespace vekbf::fft {

// exp(-2 pi i jq / 16) for j = 0..3, q = 1, 2, 3, rounded: the line of the second pass of the
// 16-point transform, which takes nothing from a plan.
inline constexpr Complex kSixteenTwiddles[12] = {{1.0f, -0.0f},
                                                 {0.92387953f, -0.38268343f},
                                                 {0.70710678f, -0.70710678f},
                                                 {0.38268343f, -0.92387953f},
                                                 {1.0f, -0.0f},
                                                 {0.70710678f, -0.70710678f},
                                                 {0.0f, -1.0f},
                                                 {-0.70710678f, -0.70710678f},
                                                 {1.0f, -0.0f},
                                                 {0.38268343f, -0.92387953f},
                                                 {-0.70710678f, -0.70710678f},
                                                 {-0.92387953f, 0.38268343f}};

// The lines of the passes after the first.
constexpr const Complex* lines_of(int n, const Complex* from_plan) {
  return n == 16 ? kSixteenTwiddles : from_plan;
}

}  // namespace vekbf::fft
