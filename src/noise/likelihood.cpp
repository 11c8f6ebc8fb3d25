// SPDX-License-Identifier: MIT
#include "noise/likelihood.h"

#include <cmath>

#include "simd/lanes.h"

namespace vekbf {
namespace {

constexpr double kHalfSqrtPi = 0.886226925452758;

// v = 0.2 gamma xi / (1 + xi).
float bin_scaled_snr(float gamma, float xi) {
  const float product =
      static_cast<float>(static_cast<double>(gamma) * 0.1 * static_cast<double>(xi));
  const float half = product / (xi + 1.0f);
  return half + half;
}

float bin_log(float xi) { return static_cast<float>(std::log(static_cast<double>(xi + 1.0f))); }

// The short-time spectral amplitude gain of Ephraim and Malah, with the ordinary Bessel functions
// in place of the modified ones: deliberate, the levels that follow from it are part of the result.
// Not a number for negative v.
float bin_gain(float v, float gamma) {
  const float half = 0.5f * v;
  const double decay = std::exp(static_cast<double>(-0.5f * v));
  const double bessel = static_cast<double>(v) * ::j1(static_cast<double>(half)) +
                        static_cast<double>(v + 1.0f) * ::j0(static_cast<double>(half));
  const double scale = std::sqrt(static_cast<double>(v)) * kHalfSqrtPi / static_cast<double>(gamma);
  return static_cast<float>(scale * decay * bessel);
}

}  // namespace

void bin_likelihoods(VadState& state, const float* power, const float* noise) {
  const float smoothingComp = 1.0f - state.snrSmoothing;

  simd::for_each_lane(state.binCount, [&](auto lane, int k) {
    using V = decltype(lane);
    const V one = V::splat(1.0f);
    const V snrMax = V::splat(state.snrMax);
    const V snrMin = V::splat(state.snrMin);

    // The upper clamp keeps what is below the limit, so that not-a-number becomes the limit.
    const V ratio = V::load(power + k) / V::load(noise + k);
    const V below = select(greater(snrMax, ratio), ratio, snrMax);
    const V gamma = select(greater_equal(snrMin, below), snrMin, below);
    gamma.store(state.postSnr + k);

    // Both terms take this frame's ratio, where the decision-directed estimate would take the
    // previous frame's speech power for the second: deliberate.
    const V excess = gamma - one;
    excess.store(state.postSnrMinusOne + k);
    const V xi = V::splat(smoothingComp) * excess + V::splat(state.snrSmoothing) * gamma;
    xi.store(state.prioriSnr + k);

    for (int i = k; i < k + V::kLanes; ++i) {
      const float v = bin_scaled_snr(state.postSnr[i], state.prioriSnr[i]);
      state.scaledSnr[i] = v;
      state.binLogLikelihood[i] = v - bin_log(state.prioriSnr[i]);
      state.gain[i] = bin_gain(v, state.postSnr[i]);
    }

    const V gain = V::load(state.gain + k);
    (gain * (gain * gamma)).store(state.speechPowerRatio + k);
  });

  // In the order of the bins: a sum by lanes would round differently.
  float sum = 0.0f;
  for (int k = 0; k < state.binCount; ++k) sum += state.binLogLikelihood[k];
  state.meanLogLikelihood = sum / static_cast<float>(state.binCount);
}

}  // namespace vekbf
