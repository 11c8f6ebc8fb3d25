// SPDX-License-Identifier: MIT
//
// What deviates from Sohn, Kim and Sung (1999):
// - The a-priori SNR has no term from the previous frame; it is a fixed mixture of the a-posteriori
//   SNR and its excess over one.
// - v carries a factor 0.2 in the log-likelihood ratio v - log(1 + xi).
// - The two-state recursion runs on the logarithm of the likelihood with transition parameters
//   a = 20 N / fs and b = 10 N / fs, the expected changes of state per frame. They leave 0..1 at
//   low sampling rates; the probability may then not be a number, which counts as no speech.
// - Onset delay and hangover stand in for the paper's hidden-Markov hangover.
// - The spectral gain is computed beside it for measurement; see likelihood.cpp.
#include "noise/vad.h"

#include <algorithm>
#include <cmath>

#include "base/chosen_kernels.h"
#include "base/log.h"
#include "noise/arrays.h"
#include "noise/decision.h"

namespace vekbf {
namespace {

constexpr float* VadState::*kArrays[] = {
    &VadState::scaledSnr, &VadState::binLogLikelihood, &VadState::postSnrMinusOne,
    &VadState::gain,      &VadState::speechPowerRatio, &VadState::postSnr,
    &VadState::prioriSnr,
};

constexpr double kTransitionRateA = 20.0;  // changes of state per second
constexpr double kTransitionRateB = 10.0;

float transition(double rate, const VadInitParams& params) {
  return static_cast<float>(static_cast<double>(params.frameLen) * rate /
                            static_cast<double>(params.sampleRate));
}

void set_parameters(VadState& state, const VadInitParams& params) {
  state.sampleRate = params.sampleRate;
  state.frameLen = params.frameLen;
  state.binCount = params.binCount;
  state.snrMax = 1000.0f;
  state.snrMin = 0.001f;
  state.transA = transition(kTransitionRateA, params);
  state.transAComp = 1.0f - state.transA;
  state.transB = transition(kTransitionRateB, params);
  state.transBComp = 1.0f - state.transB;
  state.transRatio = state.transA / state.transAComp;
  state.transResid = state.transBComp - state.transB * state.transRatio;
  state.snrSmoothing = 0.99f;
  state.threshold = params.threshold;
  state.onsetFrames = 3;
  state.hangoverFrames = 5;
}

void reset_history(VadState& state) {
  state.logLikelihood = 0.0f;
  state.meanLogLikelihood = 0.0f;
  state.decision = 0;
  state.hangoverCount = 0;
  state.onsetCount = 0;
  state.noiseState = 1;
}

// Smooths the frame's mean through the two-state model and returns the probability of speech.
[[maybe_unused]] float frame_probability(VadState& state) {
  const double prior = std::log(static_cast<double>(state.transB / state.transA));
  const double odds = std::exp(static_cast<double>(-state.logLikelihood));
  const double memory = state.transResid / (state.transB + state.transAComp * odds) +
                        static_cast<double>(state.transRatio);
  state.logLikelihood =
      static_cast<float>((prior + std::log(memory)) + static_cast<double>(state.meanLogLikelihood));
  return static_cast<float>(1.0 / (std::exp(static_cast<double>(-state.logLikelihood)) + 1.0));
}

}  // namespace
}  // namespace vekbf

VadState* vad_init(const VadInitParams* params) {
  using namespace vekbf;
  if (params == nullptr) {
    log_line(Severity::kError, "vad_init", "vadInit is NULL");
    return nullptr;
  }
  auto* state = static_cast<VadState*>(malloc(sizeof(VadState)));
  if (state == nullptr) return nullptr;
  if (!allocate_arrays(state, kArrays, params->binCount)) {
    free(state);
    return nullptr;
  }
  const Mcra2InitParams estimator = {params->sampleRate, params->binCount};
  state->mcra = mcra2_init(&estimator);
  if (state->mcra == nullptr) {
    free_arrays(state, kArrays);
    free(state);
    return nullptr;
  }
  set_parameters(*state, *params);
  reset_history(*state);
  std::fill_n(state->speechPowerRatio, std::max(params->binCount, 0), 1.0f);
  return state;
}

float vad_run(VadState* state, const float* power) {
  using namespace vekbf;
  constexpr float kRefused = -1.0f;
  if (state == nullptr) {
    log_line(Severity::kError, "vad_run", "Vad handle is NULL");
    return kRefused;
  }
  mcra2_run(state->mcra, power);
  const bool readable = power != nullptr || state->binCount < 1;
  if (state->mcra == nullptr || !readable) return kRefused;
  if constexpr (kDetectorState) {
    noise_kernels().bin_likelihoods(*state, state->mcra->inputPower, state->mcra->noisePower);
    const float probability = frame_probability(*state);
    update_decision(*state, probability > state->threshold);
    return probability;
  } else {
    return 0.0f;
  }
}

void vad_free(VadState* state) {
  using namespace vekbf;
  if (state == nullptr) {
    log_line(Severity::kError, "vad_free", "Vad handle is NULL");
    return;
  }
  // mcra2_free would print a line for null.
  if (state->mcra != nullptr) mcra2_free(state->mcra);
  free_arrays(state, kArrays);
  free(state);
}
