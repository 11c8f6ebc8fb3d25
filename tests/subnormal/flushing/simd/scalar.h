// SPDX-License-Identifier: MIT
//
// In the place of the library's header of this name: portable lanes with the arithmetic of the
// 32-bit ARM vector unit, which takes subnormal operands for zeros of their sign and gives zeros
// for results that are subnormal before they are rounded. What the NEON backend leaves to the
// scalar unit (types of one lane, division, magnitude, doubles) and what moves bits only (loads,
// selections) keeps them here too. On 32-bit ARM a test holds it against the unit itself.
#pragma once

#include <cmath>

#include "base/target.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace simd::scalar {

inline constexpr bool kFlushes = true;
inline constexpr float kSmallestNormal = 0x1p-126f;

template <int kLanes>
inline float flushed(float x) {
  return kLanes > 1 && std::fabs(x) < kSmallestNormal ? std::copysign(0.0f, x) : x;
}

// A sum of normal floats is exact where it is subnormal; a product need not be.
template <int kLanes>
inline float sum(float a, float b) {
  return flushed<kLanes>(flushed<kLanes>(a) + flushed<kLanes>(b));
}
template <int kLanes>
inline float difference(float a, float b) {
  return flushed<kLanes>(flushed<kLanes>(a) - flushed<kLanes>(b));
}
template <int kLanes>
inline float product(float a, float b) {
  const float x = flushed<kLanes>(a);
  const float y = flushed<kLanes>(b);
  const bool tiny = std::fabs(static_cast<double>(x) * static_cast<double>(y)) <
                    static_cast<double>(kSmallestNormal);
  return kLanes > 1 && tiny ? std::copysign(0.0f, x * y) : x * y;
}
template <int kLanes>
inline bool is_greater(float a, float b) {
  return flushed<kLanes>(a) > flushed<kLanes>(b);
}
template <int kLanes>
inline bool is_greater_or_equal(float a, float b) {
  return flushed<kLanes>(a) >= flushed<kLanes>(b);
}

}  // namespace simd::scalar
}  // namespace VEKBF_TARGET
}  // namespace vekbf
