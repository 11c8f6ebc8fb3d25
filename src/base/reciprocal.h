// SPDX-License-Identifier: MIT
//
// The reciprocal of the ARM vector unit, on any machine: VRECPE's 8-bit table estimate, refined by
// two Newton-Raphson steps r (2 - d r) with the product rounded first (VRECPS of the 32-bit unit).
#pragma once

#include <bit>
#include <cstdint>

#include "base/target.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

// The table estimate, by the rule in the architecture manual (RecipEstimate). Domain: normal d,
// |d| < 2^126.
inline float reciprocal_estimate(float d) {
  const uint32_t bits = std::bit_cast<uint32_t>(d);
  const uint32_t odd = 2 * (256 + ((bits >> 15) & 0xff)) + 1;
  const uint32_t entry = ((1u << 19) / odd + 1) / 2;  // 256 to 511
  const uint32_t exponent = 253 - ((bits >> 23) & 0xff);
  return std::bit_cast<float>((bits & 0x80000000u) | (exponent << 23) | ((entry & 0xff) << 15));
}

// Domain: normal d, infinities and not-a-number. From 2^126 on the unit flushes the result to zero.
inline float reciprocal_two_step(float d) {
  if (d >= 0x1p126f) return 0.0f;
  if (d <= -0x1p126f) return -0.0f;
  if (d != d) return d;
  float r = reciprocal_estimate(d);
  r = r * (2.0f - d * r);
  r = r * (2.0f - d * r);
  return r;
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
