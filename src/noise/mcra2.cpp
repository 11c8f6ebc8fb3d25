// SPDX-License-Identifier: MIT
//
// What deviates from Rangachari and Loizou (2006):
// - The noise follows the smoothed power P(k), where the paper's last step takes the input
// |Y(k)|^2.
// - The thresholds are the paper's (2 up to 1 kHz, 2 up to 3 kHz, 5 above); the two lower bands
//   have the same value but stay separate steps.
// - The first frame seeds the noise, the smoothed power and the minimum and decides nothing; the
//   copy of the input is not taken then, so that it reads zero in the frame after a new start.
#include "noise/mcra2.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "base/log.h"
#include "base/saturate.h"
#include "noise/arrays.h"
#include "simd/lanes.h"

namespace vekbf {
namespace {

constexpr float* Mcra2State::*kArrays[] = {
    &Mcra2State::delta,      &Mcra2State::inputPower,   &Mcra2State::noisePower,
    &Mcra2State::speechProb, &Mcra2State::smoothPower,  &Mcra2State::prevSmoothPower,
    &Mcra2State::minPower,   &Mcra2State::prevMinPower, &Mcra2State::powerRatio,
    &Mcra2State::speechFlag, &Mcra2State::smoothFactor,
};

constexpr float kLowBandEdge = 1000.0f;  // Hz
constexpr float kMidBandEdge = 3000.0f;  // Hz
constexpr float kLowBandThreshold = 2.0f;
constexpr float kMidBandThreshold = 2.0f;
constexpr float kHighBandThreshold = 5.0f;

// One bin, and rates of zero and below, give a bin spacing that is no finite positive number: the
// band edges then saturate, and an edge below bin 0 leaves its band empty.
void fill_thresholds(float* delta, int32_t sampleRate, int32_t binCount) {
  const int32_t intervals = wrapping_mul(2, wrapping_add(binCount, -1));
  const float binSpacing = static_cast<float>(sampleRate) / static_cast<float>(intervals);
  const int32_t lowEdge = to_int32_saturating(kLowBandEdge / binSpacing);
  const int32_t midEdge = to_int32_saturating(kMidBandEdge / binSpacing);
  for (int32_t k = 0; k < binCount; ++k) {
    if (k <= lowEdge) {
      delta[k] = kLowBandThreshold;
    } else {
      delta[k] = k < midEdge ? kMidBandThreshold : kHighBandThreshold;
    }
  }
}

void set_parameters(Mcra2State& state, const Mcra2InitParams& params) {
  state.frameCount = 1;
  state.binCount = params.binCount;
  state.alphaD = 0.95f;
  state.alphaP = 0.2f;
  state.beta = 0.8f;
  state.extraFactor = 0.98f;
  state.gamma = 0.998f;
  state.eta = 0.7f;
  fill_thresholds(state.delta, params.sampleRate, params.binCount);
}

void seed(Mcra2State& state, const float* power) {
  const size_t bytes = static_cast<size_t>(std::max(state.binCount, 0)) * sizeof(float);
  if (bytes == 0) return;
  for (float* estimate : {state.noisePower, state.smoothPower, state.prevSmoothPower,
                          state.minPower, state.prevMinPower}) {
    std::memcpy(estimate, power, bytes);
  }
}

// Where a smoothed power is smaller than this and not zero, subnormals may follow from it.
constexpr float kTinyPower = 0x1p-60f;

// Whether a bin's new and old power are both that small, and not both zero. By their
// representations, which are in the order of the numbers, as powers are not negative.
[[maybe_unused]] bool any_tiny(const float* power, const float* smooth, int32_t count) {
  uint32_t least = UINT32_MAX;  // less one, which makes a zero the largest
  for (int32_t k = 0; k < count; ++k) {
    const auto larger =
        std::max(std::bit_cast<uint32_t>(power[k]), std::bit_cast<uint32_t>(smooth[k]));
    least = std::min(least, larger - 1);
  }
  return least < std::bit_cast<uint32_t>(kTinyPower) - 1;
}

void track(Mcra2State& state, const float* power) {
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

    // The minimum creeps up by its look-ahead rule and falls at once.
    const V prevMin = V::load(state.prevMinPower + k);
    const V creeping = V::splat(state.gamma) * prevMin +
                       (smooth - V::splat(state.beta) * prevSmooth) * V::splat(rise);
    const V minimum = select(greater(smooth, prevMin), creeping, smooth);
    minimum.store(state.minPower + k);
    minimum.store(state.prevMinPower + k);

    // Not-a-number, 0/0 in a silent bin, is no speech.
    const V ratio = smooth / minimum;
    ratio.store(state.powerRatio + k);
    const auto speech = greater(ratio, V::load(state.delta + k));
    select(speech, one, zero).store(state.speechFlag + k);

    const V prob = V::splat(state.alphaP) * V::load(state.speechProb + k) +
                   select(speech, V::splat(alphaPComp), zero);
    prob.store(state.speechProb + k);

    const V factor = V::splat(state.alphaD) + V::splat(alphaDComp) * prob;
    factor.store(state.smoothFactor + k);

    // From the smoothed power, deliberately: the estimate is calmer than one from the raw input.
    const V noise = factor * V::load(state.noisePower + k) + (one - factor) * smooth;
    noise.store(state.noisePower + k);
  };

  // The ratio of two tiny powers decides on speech like any other, so that a unit that flushes them
  // would decide otherwise: there, such a frame goes bin by bin.
  if constexpr (simd::kFlushesSubnormals<simd::f32x4>) {
    if (any_tiny(power, state.prevSmoothPower, state.binCount)) {
      for (int32_t k = 0; k < state.binCount; ++k) track_bins(simd::f32x1{}, k);
      return;
    }
  }
  simd::for_each_lane(state.binCount, track_bins);
}

}  // namespace
}  // namespace vekbf

Mcra2State* mcra2_init(const Mcra2InitParams* params) {
  using namespace vekbf;
  if (params == nullptr) {
    log_line(Severity::kError, "mcra2_init", "mcra2Init is NULL");
    return nullptr;
  }
  auto* state = static_cast<Mcra2State*>(malloc(sizeof(Mcra2State)));
  if (state == nullptr) return nullptr;
  if (!allocate_arrays(state, kArrays, params->binCount)) {
    free(state);
    return nullptr;
  }
  set_parameters(*state, *params);
  return state;
}

size_t mcra2_bytes(const Mcra2InitParams& params) {
  using namespace vekbf;
  const uint64_t bytes = sizeof(Mcra2State) + arrays_bytes(kArrays, params.binCount);
  return bytes > SIZE_MAX ? 0 : static_cast<size_t>(bytes);
}

Mcra2State* mcra2_lay_out(void* memory, const Mcra2InitParams& params) {
  using namespace vekbf;
  if (memory == nullptr || mcra2_bytes(params) == 0) return nullptr;
  auto* state = static_cast<Mcra2State*>(memory);
  lay_out_arrays(state, kArrays, params.binCount, reinterpret_cast<float*>(state + 1));
  set_parameters(*state, params);
  return state;
}

void mcra2_run(Mcra2State* state, const float* power) {
  using namespace vekbf;
  if (state == nullptr) {
    log_line(Severity::kError, "mcra2_run", "Mcra handle is NULL");
    return;
  }
  // Without bins nothing is read: the frame counts.
  if (power == nullptr && state->binCount > 0) return;
  if (state->frameCount == 1) {
    seed(*state, power);
  } else {
    track(*state, power);
  }
  state->frameCount = wrapping_add(state->frameCount, 1);
}

void mcra2_free(Mcra2State* state) {
  using namespace vekbf;
  if (state == nullptr) {
    log_line(Severity::kError, "mcra2_free", "Mcra handle is NULL");
    return;
  }
  free_arrays(state, kArrays);
  free(state);
}
