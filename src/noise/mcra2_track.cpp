// SPDX-License-Identifier: MIT
#include "noise/mcra2_track.h"

#include <algorithm>
#include <bit>
#include <cstdint>

#include "simd/lanes.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

namespace {

// A smoothed power below this, but for zero, may lead to subnormals.
constexpr float kTinyPower = 0x1p-60f;

// True if a bin's new and old power are both that small, and not both zero. Compares
// representations, whose order is that of the numbers, because powers are not negative.
// GCOVR_EXCL_START: called on 32-bit ARM alone, whose vector unit flushes subnormals
[[maybe_unused]] bool any_tiny(const float* power, const float* smooth, int32_t count) {
  uint32_t least = UINT32_MAX;  // of bits - 1: 0 wraps to UINT32_MAX, so that zeros are ignored
  for (int32_t k = 0; k < count; ++k) {
    const auto larger =
        std::max(std::bit_cast<uint32_t>(power[k]), std::bit_cast<uint32_t>(smooth[k]));
    least = std::min(least, larger - 1);
  }
  return least < std::bit_cast<uint32_t>(kTinyPower) - 1;
}
// GCOVR_EXCL_STOP

}  // namespace

void mcra2_track(Mcra2State& state, const float* power) {
  // Local copies: a store of floats could change the record, as far as a compiler knows.
  const float eta = state.eta;
  const float gamma = state.gamma;
  const float beta = state.beta;
  const float alphaP = state.alphaP;
  const float alphaD = state.alphaD;
  const float etaComp = 1.0f - eta;
  const float alphaPComp = 1.0f - alphaP;
  const float alphaDComp = 1.0f - alphaD;
  const float rise = (1.0f - gamma) / (1.0f - beta);
  float* const inputPower = state.inputPower;
  float* const smoothPower = state.smoothPower;
  float* const prevSmoothPower = state.prevSmoothPower;
  float* const minPower = state.minPower;
  float* const prevMinPower = state.prevMinPower;
  float* const powerRatio = state.powerRatio;
  const float* const delta = state.delta;
  float* const speechFlag = state.speechFlag;
  float* const speechProb = state.speechProb;
  float* const smoothFactor = state.smoothFactor;
  float* const noisePower = state.noisePower;

  const auto track_bins = [=](auto lane, int k) {
    using V = decltype(lane);
    const V one = V::splat(1.0f);
    const V zero = V::splat(0.0f);

    const V input = V::load(power + k);
    input.store(inputPower + k);

    const V prevSmooth = V::load(prevSmoothPower + k);
    const V smooth = prevSmooth * V::splat(eta) + V::splat(etaComp) * input;
    smooth.store(smoothPower + k);
    smooth.store(prevSmoothPower + k);

    // The minimum rises by its look-ahead rule and falls to a lower power at once.
    const V prevMin = V::load(prevMinPower + k);
    const V creeping =
        V::splat(gamma) * prevMin + (smooth - V::splat(beta) * prevSmooth) * V::splat(rise);
    const V minimum = select(greater(smooth, prevMin), creeping, smooth);
    minimum.store(minPower + k);
    minimum.store(prevMinPower + k);

    // 0/0 in a silent bin is not-a-number and compares false: no speech.
    const V ratio = smooth / minimum;
    ratio.store(powerRatio + k);
    const auto speech = greater(ratio, V::load(delta + k));
    select(speech, one, zero).store(speechFlag + k);

    const V prob =
        V::splat(alphaP) * V::load(speechProb + k) + select(speech, V::splat(alphaPComp), zero);
    prob.store(speechProb + k);

    const V factor = V::splat(alphaD) + V::splat(alphaDComp) * prob;
    factor.store(smoothFactor + k);

    // bit-exact contract: the noise follows the smoothed power, not the input.
    const V noise = factor * V::load(noisePower + k) + (one - factor) * smooth;
    noise.store(noisePower + k);
  };

  // The ratio of two tiny powers decides on speech like any other. A vector unit that flushes them
  // would decide otherwise, so such a frame goes through the scalar unit.
  if constexpr (simd::kFlushesSubnormals<simd::Widest>) {
    if (any_tiny(power, state.prevSmoothPower, state.binCount)) {
      for (int32_t k = 0; k < state.binCount; ++k) track_bins(simd::f32x1{}, k);
      return;
    }
  }
  simd::for_each_lane(state.binCount, track_bins);
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
