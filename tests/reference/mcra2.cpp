// SPDX-License-Identifier: MIT
//
// Minima-controlled recursive averaging with continuous minimum tracking.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>

#include "reference/arithmetic.h"
#include "reference/arrays.h"
#include "reference/model.h"

namespace reference {

Mcra2State* mcra2_init(const Mcra2InitParams* params) {
  if (params == nullptr) return nullptr;
  auto* const state = static_cast<Mcra2State*>(malloc(sizeof(Mcra2State)));
  if (state == nullptr) return nullptr;
  const int32_t bins = params->binCount;
  state->frameCount = 1;
  state->binCount = bins;
  state->alphaD = 0.95f;
  state->alphaP = 0.2f;
  state->beta = 0.8f;
  state->extraFactor = 0.98f;
  state->gamma = 0.998f;
  state->eta = 0.7f;
  state->delta = zeros(bins);
  state->inputPower = zeros(bins);
  state->noisePower = zeros(bins);
  state->speechProb = zeros(bins);
  state->prevSmoothPower = zeros(bins);
  state->smoothPower = zeros(bins);
  state->prevMinPower = zeros(bins);
  state->minPower = zeros(bins);
  state->smoothFactor = zeros(bins);
  state->powerRatio = zeros(bins);
  state->speechFlag = zeros(bins);
  const float* const arrays[] = {state->delta,        state->inputPower,      state->noisePower,
                                 state->speechProb,   state->prevSmoothPower, state->smoothPower,
                                 state->prevMinPower, state->minPower,        state->smoothFactor,
                                 state->powerRatio,   state->speechFlag};
  for (const float* array : arrays) {
    if (array == nullptr && bins > 0) {
      reference::mcra2_free(state);
      return nullptr;
    }
  }

  const int32_t length = wrapped_product(2, wrapped_sum(bins, -1));
  const float spacing = static_cast<float>(params->sampleRate) / static_cast<float>(length);
  const int32_t k1 = to_integer(static_cast<double>(1000.0f / spacing));
  const int32_t k3 = to_integer(static_cast<double>(3000.0f / spacing));
  // The band up to 1 kHz and the one up to 3 kHz have the same threshold.
  for (int32_t k = 0; k < bins; ++k) {
    if (k <= k1) {
      state->delta[k] = 2.0f;
    } else {
      state->delta[k] = k < k3 ? 2.0f : 5.0f;
    }
  }
  return state;
}

void mcra2_run(Mcra2State* state, const float* power) {
  if (state == nullptr) return;
  const int32_t bins = state->binCount;
  if (state->frameCount == 1) {
    for (int32_t k = 0; k < bins; ++k) {
      state->noisePower[k] = power[k];
      state->smoothPower[k] = power[k];
      state->prevSmoothPower[k] = power[k];
      state->minPower[k] = power[k];
      state->prevMinPower[k] = power[k];
    }
    state->frameCount = wrapped_sum(state->frameCount, 1);
    return;
  }

  for (int32_t k = 0; k < bins; ++k) {
    const float x = power[k];
    state->inputPower[k] = x;

    const float before = state->prevSmoothPower[k];
    const float smooth = before * state->eta + (1.0f - state->eta) * x;
    state->smoothPower[k] = smooth;

    float minimum = smooth;
    if (smooth > state->prevMinPower[k]) {
      const float rise = (1.0f - state->gamma) / (1.0f - state->beta);
      minimum = state->gamma * state->prevMinPower[k] + (smooth - state->beta * before) * rise;
    }
    state->minPower[k] = minimum;
    state->prevSmoothPower[k] = smooth;
    state->prevMinPower[k] = minimum;

    state->powerRatio[k] = smooth / minimum;
    const float present = state->powerRatio[k] > state->delta[k] ? 1.0f : 0.0f;
    state->speechFlag[k] = present;

    state->speechProb[k] = state->alphaP * state->speechProb[k] + (1.0f - state->alphaP) * present;
    const float factor = state->alphaD + (1.0f - state->alphaD) * state->speechProb[k];
    state->smoothFactor[k] = factor;
    // The noise follows the smoothed power, not the input.
    state->noisePower[k] = factor * state->noisePower[k] + (1.0f - factor) * smooth;
  }
  state->frameCount = wrapped_sum(state->frameCount, 1);
}

void mcra2_free(Mcra2State* state) {
  if (state == nullptr) return;
  free(state->delta);
  free(state->inputPower);
  free(state->noisePower);
  free(state->speechProb);
  free(state->smoothPower);
  free(state->prevSmoothPower);
  free(state->minPower);
  free(state->prevMinPower);
  free(state->powerRatio);
  free(state->speechFlag);
  free(state->smoothFactor);
  free(state);
}

}  // namespace reference
