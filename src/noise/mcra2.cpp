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
#include <cstring>

#include "base/chosen_kernels.h"
#include "base/log.h"
#include "base/saturate.h"
#include "noise/arrays.h"

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
  // GCOVR_EXCL_BR_START: too many bytes only where a size has 32 bits
  if (memory == nullptr || mcra2_bytes(params) == 0) return nullptr;
  // GCOVR_EXCL_BR_STOP
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
  // Without bins nothing is read, but the frame is counted.
  if (power == nullptr && state->binCount > 0) return;
  if (state->frameCount == 1) {
    seed(*state, power);
  } else {
    noise_kernels().mcra2_track(*state, power);
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
