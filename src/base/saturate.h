// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "base/target.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

// Conversion to a 32-bit integer as the ARM instruction does it: toward zero, saturating at the
// limits, not-a-number to 0. A plain cast is undefined for such values and differs between
// machines.
inline int32_t to_int32_saturating(double value) {
  if (value >= 2147483647.0) return INT32_MAX;
  if (value <= -2147483648.0) return INT32_MIN;
  if (value != value) return 0;
  return static_cast<int32_t>(value);
}

// Addition modulo 2^32, for counters that may run for ever.
inline int32_t wrapping_add(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

// Product modulo 2^32.
inline int32_t wrapping_mul(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
