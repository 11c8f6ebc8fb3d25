// SPDX-License-Identifier: MIT
//
// The operations that instances use, at sizes and rates that no instance has.
#include <math.h>
#include <stdlib.h>

#include <initializer_list>

#include "fft/fft.h"
#include "memory/plain.h"
#include "noise/vad.h"

namespace vekbf::plain {

namespace {

template <class T>
T* take(size_t count) {
  return static_cast<T*>(malloc(count * sizeof(T)));
}

// Sizes that the engine can transform; at others the spectrum is left alone.
bool is_transformed(int32_t size) { return size >= 32 && (size & (size - 1)) == 0; }

void play_transform(int32_t size, int32_t window, bool symmetric, Random& random) {
  const FftInitParams params = {symmetric ? 1 : 0, size, 0, window};
  FftState* state = fft_init(&params);
  if (state == nullptr) return expect(false, "a transform");
  look_at(&state->initFlag, sizeof state->initFlag);
  const size_t samples = size < 0 ? 0 : static_cast<size_t>(size);
  look_at(state->window, samples * sizeof(float));
  look_at(state->windowSq, samples * sizeof(float));

  auto* in = take<float>(samples + 2);
  auto* bins = take<Complex>(samples / 2 + 1);
  for (size_t i = 0; i < samples; ++i) in[i] = static_cast<float>(random.below(65536) - 32768);
  if (samples >= 2) {
    do_fft(state, in, as_floats(bins), kForward);
    look_at(in, samples * sizeof(float));
    if (is_transformed(size)) {
      look_at(bins, (samples / 2 + 1) * sizeof(Complex));
      do_fft(state, as_floats(bins), in, kInverse);
      look_at(in, samples * sizeof(float));
      look_at(state->windowSqSum, samples * sizeof(float));
    }
  }
  do_fft(state, in, as_floats(bins), 0);
  free(bins);
  free(in);
  fft_free(state);
}

// What a spectrum may hold, silence and what is no number among it.
float power(int kind, Random& random) {
  const float value = static_cast<float>(random.below(1000000)) + 1.0f;
  switch (kind) {
    case 0:
      return value;
    case 1:
      return 0.0f;
    case 2:
      return value * 1e-30f;
    default:
      return random.below(4) == 0 ? NAN : value * 1e30f;
  }
}

void play_detector(int32_t rate, int32_t bins, int kind, Random& random) {
  const VadInitParams params = {rate, 512, bins, 0.5f};
  VadState* state = vad_init(&params);
  if (state == nullptr) return expect(false, "a detector");
  const size_t count = bins < 0 ? 0 : static_cast<size_t>(bins);
  auto* spectrum = take<float>(count + 1);
  for (int frame = 0; frame < 6; ++frame) {
    for (size_t k = 0; k < count; ++k) spectrum[k] = power(kind, random);
    const float probability = vad_run(state, spectrum);
    look_at(&probability, sizeof probability);
    look_at(&state->decision, sizeof state->decision);
    for (const float* array :
         {state->scaledSnr, state->binLogLikelihood, state->postSnrMinusOne, state->gain,
          state->speechPowerRatio, state->postSnr, state->prioriSnr, state->mcra->delta,
          state->mcra->inputPower, state->mcra->noisePower, state->mcra->speechProb,
          state->mcra->prevSmoothPower, state->mcra->smoothPower, state->mcra->prevMinPower,
          state->mcra->minPower, state->mcra->smoothFactor, state->mcra->powerRatio,
          state->mcra->speechFlag}) {
      look_at(array, count * sizeof(float));
    }
  }
  free(spectrum);
  vad_free(state);
}

}  // namespace

void play_transforms() {
  Random random(2);
  for (int32_t size = -1; size <= 70; ++size) {
    for (int32_t window = 0; window < 5; ++window) {
      play_transform(size, window, size % 2 == 0, random);
    }
  }
  for (const int32_t size : {96, 128, 255, 256, 510, 512, 1000, 1024, 2048, 4096}) {
    play_transform(size, 1, false, random);
  }
  float sample = 0;
  expect(fft_init(nullptr) == nullptr, "a transform of nothing");
  do_fft(nullptr, &sample, &sample, kForward);
  fft_free(nullptr);
}

void play_detectors() {
  Random random(3);
  for (const int32_t rate : {-1, 0, 1, 8000, 10240, 16000, 48000}) {
    for (const int32_t bins : {-1, 0, 1, 2, 3, 4, 5, 7, 8, 31, 257}) {
      for (int kind = 0; kind < 4; ++kind) play_detector(rate, bins, kind, random);
    }
  }
  expect(vad_init(nullptr) == nullptr, "a detector of nothing");
  expect(mcra2_init(nullptr) == nullptr, "an estimator of nothing");
  expect(vad_run(nullptr, nullptr) == -1.0f, "a probability of nothing");
  vad_free(nullptr);
  mcra2_free(nullptr);
}

}  // namespace vekbf::plain
