// SPDX-License-Identifier: MIT
//
// The detector's way from the clamped a-posteriori SNR to v, one value at a time.
#pragma once

namespace vekbf::test {

inline float priori_snr(float gamma) { return (1.0f - 0.99f) * (gamma - 1.0f) + 0.99f * gamma; }

inline float scaled_snr(float gamma) {
  const float xi = priori_snr(gamma);
  const double product = static_cast<double>(gamma) * 0.1 * static_cast<double>(xi);
  const float half = static_cast<float>(product) / (xi + 1.0f);
  return half + half;
}

}  // namespace vekbf::test
