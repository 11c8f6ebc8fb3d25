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
  const float etaComp = 1.0f - state.eta;
  const float alphaPComp = 1.0f - state.alphaP;
  const float alphaDComp = 1.0f - state.alphaD;
  const float rise = (1.0f - state.gamma) / (1.0f - state.beta);

  const auto track_bins = [&](auto lane, int k) {
    using V = decltype(lane);
    const V one = V::splat(1.0f);
    const V zero = V::splat(0.0f);

    const V input = V::load(power + k);
    input.store(state.inputPower + k);

    const V prevSmooth = V::load(state.prevSmoothPower + k);
    const V smooth = prevSmooth * V::splat(state.eta) + V::splat(etaComp) * input;
    smooth.store(state.smoothPower + k);
    smooth.store(state.prevSmoothPower + k);

    // The minimum rises by its look-ahead rule and falls to a lower power at once.
    const V prevMin = V::load(state.prevMinPower + k);
    const V creeping = V::splat(state.gamma) * prevMin +
                       (smooth - V::splat(state.beta) * prevSmooth) * V::splat(rise);
    const V minimum = select(greater(smooth, prevMin), creeping, smooth);
    minimum.store(state.minPower + k);
    minimum.store(state.prevMinPower + k);

    // 0/0 in a silent bin is not-a-number and compares false: no speech.
    const V ratio = smooth / minimum;
    ratio.store(state.powerRatio + k);
    const auto speech = greater(ratio, V::load(state.delta + k));
    select(speech, one, zero).store(state.speechFlag + k);

    const V prob = V::splat(state.alphaP) * V::load(state.speechProb + k) +
                   select(speech, V::splat(alphaPComp), zero);
    prob.store(state.speechProb + k);

    const V factor = V::splat(state.alphaD) + V::splat(alphaDComp) * prob;
    factor.store(state.smoothFactor + k);

    // bit-exact contract: the noise follows the smoothed power, not the input.
    const V noise = factor * V::load(state.noisePower + k) + (one - factor) * smooth;
    noise.store(state.noisePower + k);
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
