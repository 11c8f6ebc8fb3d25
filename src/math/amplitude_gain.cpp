// SPDX-License-Identifier: MIT
#include "math/amplitude_gain.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace vekbf {

namespace {

bool same(float a, float b) { return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b); }

}  // namespace

float amplitude_gain_plain(float v, float gamma) {
  constexpr double kHalfSqrtPi = 0.886226925452758;
  const double half = static_cast<double>(0.5f * v);
  const double decay = std::exp(static_cast<double>(-0.5f * v));
  const double bessel =
      static_cast<double>(v) * ::j1(half) + static_cast<double>(v + 1.0f) * ::j0(half);
  const double scale = std::sqrt(static_cast<double>(v)) * kHalfSqrtPi / static_cast<double>(gamma);
  return static_cast<float>(scale * decay * bessel);
}

float KnownGains::of(float v, float gamma) {
  const int known = std::min(misses, kCases);
  for (int i = 0; i < known; ++i) {
    if (same(v, cases[i].v) && same(gamma, cases[i].gamma)) return cases[i].gain;
  }
  Case& oldest = cases[misses++ % kCases];
  oldest = {v, gamma, amplitude_gain_plain(v, gamma)};
  return oldest.gain;
}

void amplitude_gain_redo(float* low, const float* high, const float* v, const float* gamma,
                         int lanes, KnownGains& known) {
  for (int i = 0; i < lanes; ++i) {
    if (!same(low[i], high[i])) low[i] = known.of(v[i], gamma[i]);
  }
}

}  // namespace vekbf
