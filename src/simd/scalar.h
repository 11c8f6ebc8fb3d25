// SPDX-License-Identifier: MIT
//
// One lane of the portable backend, of a type of `kLanes` lanes.
#pragma once

#include "base/target.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace simd::scalar {

// True if types of several lanes flush subnormal operands and results to zero, as the vector unit
// of 32-bit ARM does. The portable backend does not.
inline constexpr bool kFlushes = false;

template <int kLanes>
inline float sum(float a, float b) {
  return a + b;
}
template <int kLanes>
inline float difference(float a, float b) {
  return a - b;
}
template <int kLanes>
inline float product(float a, float b) {
  return a * b;
}
template <int kLanes>
inline bool is_greater(float a, float b) {
  return a > b;
}
template <int kLanes>
inline bool is_greater_or_equal(float a, float b) {
  return a >= b;
}

}  // namespace simd::scalar
}  // namespace VEKBF_TARGET
}  // namespace vekbf
