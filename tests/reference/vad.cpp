// SPDX-License-Identifier: MIT
//
// The statistical voice-activity detector. Which values are single and which double precision is
// part of its definition: a float variable below is a rounding, a double one is not.
#include <stdlib.h>

#include <cmath>
#include <cstdint>
#include <cstring>

#include "reference/arithmetic.h"
#include "reference/arrays.h"
#include "reference/model.h"

namespace reference {

namespace {

constexpr double kHalfRootPi = 0.886226925452758;

// The spectral gain. J0 and J1 are the plain Bessel functions, not the modified ones.
float gain_of(float v, float gamma) {
  const double wide_v = v;
  const float h = static_cast<float>(0.5 * wide_v);
  const double e = std::exp(static_cast<double>(static_cast<float>(-0.5 * wide_v)));
  const double bessel1 = ::j1(static_cast<double>(h));
  const double bessel0 = ::j0(static_cast<double>(h));
  const float v_plus_one = v + 1.0f;
  const double bracket = wide_v * bessel1 + static_cast<double>(v_plus_one) * bessel0;
  const double root = (std::sqrt(wide_v) * kHalfRootPi) / static_cast<double>(gamma);
  return static_cast<float>((root * e) * bracket);
}

void run_bin(VadState* state, int32_t k) {
  float gamma = state->mcra->inputPower[k] / state->mcra->noisePower[k];
  // Written so that a not-a-number ratio becomes the upper limit.
  gamma = state->snrMax > gamma ? gamma : state->snrMax;
  gamma = state->snrMin >= gamma ? state->snrMin : gamma;
  state->postSnr[k] = gamma;
  state->postSnrMinusOne[k] = gamma - 1.0f;

  // Both terms are this frame's: nothing comes from the frame before.
  const float xi = (1.0f - state->snrSmoothing) * (gamma - 1.0f) + state->snrSmoothing * gamma;
  state->prioriSnr[k] = xi;

  float v = static_cast<float>((static_cast<double>(gamma) * 0.1) * static_cast<double>(xi));
  v = v / (xi + 1.0f);
  v = v + v;
  state->scaledSnr[k] = v;

  const float xi_plus_one = xi + 1.0f;
  const float logarithm = static_cast<float>(std::log(static_cast<double>(xi_plus_one)));
  state->binLogLikelihood[k] = v - logarithm;

  const float gain = gain_of(v, gamma);
  state->gain[k] = gain;
  state->speechPowerRatio[k] = gain * (gain * gamma);
  state->meanLogLikelihood = state->meanLogLikelihood + state->binLogLikelihood[k];
}

// The probability of speech; moves logLikelihood on by one frame.
float run_recursion(VadState* state) {
  const float quotient = state->transB / state->transA;
  const double t1 = std::log(static_cast<double>(quotient));
  const double e = std::exp(static_cast<double>(-state->logLikelihood));
  const double denominator =
      static_cast<double>(state->transB) + static_cast<double>(state->transAComp) * e;
  const double q =
      static_cast<double>(state->transResid) / denominator + static_cast<double>(state->transRatio);
  const double sum = (t1 + std::log(q)) + static_cast<double>(state->meanLogLikelihood);
  state->logLikelihood = static_cast<float>(sum);
  const double odds_against = std::exp(static_cast<double>(-state->logLikelihood));
  return static_cast<float>(1.0 / (odds_against + 1.0));
}

void decide(VadState* state, bool above) {
  if (state->noiseState == 0) {
    if (above) {
      state->hangoverCount = 0;
      state->decision = 1;
      return;
    }
    state->hangoverCount = wrapped_sum(state->hangoverCount, 1);
    if (state->hangoverCount < state->hangoverFrames) {
      state->decision = 1;
      return;
    }
    state->onsetCount = 0;
    state->noiseState = 1;
    state->decision = 0;
  } else if (state->noiseState == 1) {
    if (!above) {
      state->onsetCount = 0;
      state->decision = 0;
      return;
    }
    state->onsetCount = wrapped_sum(state->onsetCount, 1);
    if (state->onsetCount < state->onsetFrames) {
      state->decision = 0;
      return;
    }
    state->noiseState = 0;
    state->hangoverCount = 0;
    state->decision = 1;
  } else {
    state->decision = 0;
  }
}

}  // namespace

VadState* vad_init(const VadInitParams* params) {
  if (params == nullptr) return nullptr;
  auto* const state = static_cast<VadState*>(malloc(sizeof(VadState)));
  if (state == nullptr) return nullptr;
  std::memset(state, 0, sizeof *state);
  const int32_t bins = params->binCount;
  state->sampleRate = params->sampleRate;
  state->frameLen = params->frameLen;
  state->binCount = bins;
  state->snrMax = 1000.0f;
  state->snrMin = 0.001f;

  const double rate = params->sampleRate;
  const double length = params->frameLen;
  const float a = static_cast<float>((length * 20.0) / rate);
  const float b = static_cast<float>((length * 10.0) / rate);
  state->transA = a;
  state->transAComp = 1.0f - a;
  state->transB = b;
  state->transBComp = 1.0f - b;
  state->transRatio = a / (1.0f - a);
  state->transResid = (1.0f - b) - b * (a / (1.0f - a));
  state->snrSmoothing = 0.99f;
  state->logLikelihood = 0.0f;

  state->scaledSnr = zeros(bins);
  state->binLogLikelihood = zeros(bins);
  state->postSnrMinusOne = zeros(bins);
  state->gain = zeros(bins);
  state->speechPowerRatio = zeros(bins);
  state->postSnr = zeros(bins);
  state->prioriSnr = zeros(bins);

  state->threshold = params->threshold;
  state->decision = 0;
  state->onsetFrames = 3;
  state->hangoverFrames = 5;
  state->hangoverCount = 0;
  state->onsetCount = 0;
  state->noiseState = 1;
  const Mcra2InitParams estimator = {params->sampleRate, bins};
  state->mcra = reference::mcra2_init(&estimator);

  const float* const arrays[] = {state->scaledSnr, state->binLogLikelihood, state->postSnrMinusOne,
                                 state->gain,      state->speechPowerRatio, state->postSnr,
                                 state->prioriSnr};
  bool complete = state->mcra != nullptr;
  for (const float* array : arrays) complete = complete && (array != nullptr || bins < 1);
  if (!complete) {
    reference::vad_free(state);
    return nullptr;
  }
  for (int32_t k = 0; k < bins; ++k) state->speechPowerRatio[k] = 1.0f;
  return state;
}

float vad_run(VadState* state, const float* power) {
  if (state == nullptr) return -1.0f;
  reference::mcra2_run(state->mcra, power);
  state->meanLogLikelihood = 0.0f;
  for (int32_t k = 0; k < state->binCount; ++k) run_bin(state, k);
  state->meanLogLikelihood = state->meanLogLikelihood / static_cast<float>(state->binCount);
  const float probability = run_recursion(state);
  decide(state, probability > state->threshold);
  return probability;
}

void vad_free(VadState* state) {
  if (state == nullptr) return;
  reference::mcra2_free(state->mcra);
  free(state->scaledSnr);
  free(state->binLogLikelihood);
  free(state->postSnrMinusOne);
  free(state->gain);
  free(state->speechPowerRatio);
  free(state->postSnr);
  free(state->prioriSnr);
  free(state);
}

}  // namespace reference
