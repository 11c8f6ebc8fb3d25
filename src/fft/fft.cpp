// SPDX-License-Identifier: MIT
#include "fft/fft.h"

#include <stdlib.h>
#include <string.h>

#include <cstddef>

#include "base/chosen_kernels.h"
#include "base/log.h"
#include "fft/window.h"

using vekbf::log_bare;
using vekbf::log_line;
using vekbf::Severity;

namespace {

constexpr int32_t kSmallestPlan = 2;

// A frame without samples needs no memory, and a plan below two samples does not exist: neither
// counts as a failure.
bool is_complete(const FftState& state) {
  const bool windows =
      state.window != nullptr && state.windowSq != nullptr && state.windowSqSum != nullptr;
  return (windows || state.fftSize < 1) && (state.plan != nullptr || state.fftSize < kSmallestPlan);
}

float* allocate_samples(int32_t count) {
  return static_cast<float*>(calloc(count < 1 ? 0 : static_cast<size_t>(count), sizeof(float)));
}

uint64_t window_bytes(int32_t size) { return static_cast<uint64_t>(size) * sizeof(float); }

FftState empty_state(int32_t size) {
  FftState state = {};
  state.fftSize = size;
  state.frameSize = size;
  return state;
}

void make_usable(FftState* state, const FftInitParams& params) {
  vekbf::fft::fill_window(state->window, state->windowSq, params.fftSize, params.windowType,
                          params.symmetric != 0);
  state->initFlag = 1;
}

void multiply_from(int32_t i, int32_t count, float* out, const float* in, const float* window) {
  for (; i < count; ++i) out[i] = in[i] * window[i];
}

// What the engine transforms of a frame; an odd frame has one sample more.
int32_t transformed_samples(const FftState& state) { return 2 * state.plan->ncfft; }

void forward(FftState* state, const float* in, float* windowed, float* out) {
  Complex* spectrum = as_complex(out);
  const bool done =
      vekbf::dsp_kernels().windowed_forward(spectrum, in, windowed, state->window, state->plan);
  multiply_from(done ? transformed_samples(*state) : 0, state->fftSize, windowed, in,
                state->window);
}

void inverse(FftState* state, const float* in, float* out) {
  const Complex* spectrum = as_complex(in);
  const vekbf::DspKernels& kernels = vekbf::dsp_kernels();
  const bool done = kernels.windowed_inverse(out, spectrum, state->window, state->plan);
  multiply_from(done ? transformed_samples(*state) : 0, state->fftSize, out, out, state->window);
  kernels.add_to(state->windowSqSum, state->windowSq, state->fftSize);
}

bool is_usable(const FftState* state) {
  if (state == nullptr) {
    log_line(Severity::kError, "do_fft", "FFT work buffer is NULL");
    return false;
  }
  if (state->initFlag != 1) {
    log_line(Severity::kError, "do_fft", "FFT work buffer hasn't been initialized");
    return false;
  }
  return true;
}

}  // namespace

FftState* fft_init(const FftInitParams* params) {
  if (params == nullptr) {
    log_line(Severity::kError, "fft_init", "The fftInit is NULL");
    return nullptr;
  }
  FftState* state = static_cast<FftState*>(malloc(sizeof(FftState)));
  if (state == nullptr) return nullptr;
  const int32_t size = params->fftSize;
  *state = empty_state(size);
  state->window = allocate_samples(size);
  state->windowSq = allocate_samples(size);
  state->windowSqSum = allocate_samples(size);
  state->plan = fft_plan_alloc(size);
  if (!is_complete(*state)) return state;  // initFlag 0: do_fft refuses it, fft_free releases it

  make_usable(state, *params);
  log_line(Severity::kMessage, "fft_init", "NEON ENABLE");
  return state;
}

size_t fft_bytes(const FftInitParams& params) {
  const size_t plan = fft_plan_bytes(params.fftSize);
  if (plan == 0) return 0;
  const uint64_t bytes = uint64_t{plan} + sizeof(FftState) + 3 * window_bytes(params.fftSize);
  return bytes > SIZE_MAX ? 0 : static_cast<size_t>(bytes);
}

FftState* fft_lay_out(void* memory, const FftInitParams& params) {
  if (memory == nullptr || fft_bytes(params) == 0) return nullptr;
  const int32_t size = params.fftSize;
  FftState* state = static_cast<FftState*>(memory);
  *state = empty_state(size);
  state->plan = fft_plan_lay_out(state + 1, size);
  if (state->plan == nullptr) return nullptr;  // GCOVR_EXCL_BR_LINE: a size with bytes has a plan
  char* windows = reinterpret_cast<char*>(state + 1) + fft_plan_bytes(size);
  const size_t bytes = static_cast<size_t>(window_bytes(size));
  state->window = reinterpret_cast<float*>(windows);
  state->windowSq = reinterpret_cast<float*>(windows + bytes);
  state->windowSqSum = reinterpret_cast<float*>(windows + 2 * bytes);
  memset(state->windowSqSum, 0, bytes);
  make_usable(state, params);
  return state;
}

void do_fft(FftState* state, float* in, float* out, int32_t direction) {
  if (!is_usable(state)) return;
  if (direction == kForward) {
    forward(state, in, in, out);
  } else if (direction == kInverse) {
    inverse(state, in, out);
  } else {
    log_line(Severity::kError, "do_fft", "FFT mode is invalid");
  }
}

bool fft_analyse(FftState* state, const float* frame, float* windowed, float* bins) {
  if (!is_usable(state)) return false;
  forward(state, frame, windowed, bins);
  return true;
}

bool fft_synthesise(FftState* state, const float* bins, float* frame) {
  if (!is_usable(state)) return false;
  inverse(state, bins, frame);
  return true;
}

void fft_free(FftState* state) {
  if (state == nullptr) {
    log_bare("[FFT FREE]: The handle is NULL");
    return;
  }
  free(state->plan);
  free(state->window);
  free(state->windowSq);
  free(state->windowSqSum);
  free(state);
}
