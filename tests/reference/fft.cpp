// SPDX-License-Identifier: MIT
//
// The window and the two directions of the transform.
#include <stdlib.h>

#include <cmath>
#include <cstdint>

#include "reference/arrays.h"
#include "reference/model.h"
#include "reference/trigonometry.h"

namespace reference {

namespace {

constexpr double kTwoPi = 6.283185307179586;

// Point i of a window of n points; 0 for a type that does not exist.
double window_point(int32_t type, bool symmetric, int32_t n, int32_t i) {
  const double points = n;
  const double index = i;
  const double length = symmetric ? points - 1.0 : points;
  switch (type) {
    case 0: {
      // This shape alone always ends where it began, symmetric or not.
      const double step = kTwoPi / (points - 1.0);
      return std::pow((1.0 - cosine(step * index)) * 0.5, 0.85);
    }
    case 1:
      return 0.54 - cosine((index * kTwoPi) / length) * 0.46;
    case 2:
      return (1.0 - cosine((index * kTwoPi) / length)) * 0.5;
    case 3:
      return 1.0;
    default:
      return 0.0;
  }
}

}  // namespace

FftState* fft_init(const FftInitParams* params) {
  if (params == nullptr) return nullptr;
  auto* const state = static_cast<FftState*>(malloc(sizeof(FftState)));
  if (state == nullptr) return nullptr;
  const int32_t n = params->fftSize;
  state->fftSize = n;
  state->frameSize = n;
  state->window = zeros(n);
  state->windowSq = zeros(n);
  state->windowSqSum = zeros(n);
  state->plan = reference::fft_plan_alloc(n);

  // No plan exists below two points; that is not a lack of memory.
  const bool arrays =
      state->window != nullptr && state->windowSq != nullptr && state->windowSqSum != nullptr;
  const bool complete = (arrays || n < 1) && (state->plan != nullptr || n < 2);
  state->initFlag = complete ? 1 : 0;
  if (!complete) return state;
  for (int32_t i = 0; i < n; ++i) {
    const float w =
        static_cast<float>(window_point(params->windowType, params->symmetric != 0, n, i));
    state->window[i] = w;
    state->windowSq[i] = w * w;
  }
  return state;
}

void do_fft(FftState* state, float* in, float* out, int32_t direction) {
  if (state == nullptr || state->initFlag != 1) return;
  const int32_t n = state->fftSize;
  if (direction == kForward) {
    for (int32_t i = 0; i < n; ++i) in[i] = in[i] * state->window[i];
    if (state->plan == nullptr) return;
    reference::fft_real_forward(reinterpret_cast<Complex*>(out), in, state->plan);
  } else if (direction == kInverse) {
    if (state->plan != nullptr) {
      reference::fft_real_inverse(out, reinterpret_cast<const Complex*>(in), state->plan);
    }
    for (int32_t i = 0; i < n; ++i) {
      out[i] = out[i] * state->window[i];
      state->windowSqSum[i] = state->windowSqSum[i] + state->windowSq[i];
    }
  }
}

void fft_free(FftState* state) {
  if (state == nullptr) return;
  free(state->plan);
  free(state->window);
  free(state->windowSq);
  free(state->windowSqSum);
  free(state);
}

}  // namespace reference
