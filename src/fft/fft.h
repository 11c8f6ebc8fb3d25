// SPDX-License-Identifier: MIT
//
// Windowed analysis and synthesis around the real FFT.
#pragma once

#include <cstddef>
#include <cstdint>

#include "fft/fft_engine.h"

struct FftInitParams {
  int32_t symmetric;   // nonzero: Hamming and Hann divide by N-1 instead of N
  int32_t fftSize;     // N, samples per frame
  int32_t reserved;    // not read
  int32_t windowType;  // 0 Hann to the power 0.85, 1 Hamming, 2 Hann, 3 rectangular
};

// Owns its four blocks; released by fft_free.
struct FftState {
  RealFftPlan* plan;
  float* window;       // N analysis and synthesis weights
  float* windowSq;     // their squares
  float* windowSqSum;  // grows by windowSq with every inverse transform; nothing reads it, it is
                       // kept for diagnosis
  int32_t fftSize;     // N
  int32_t frameSize;   // N again
  int32_t initFlag;    // 1 when usable; do_fft refuses any other value
};

inline constexpr int32_t kForward = 1;
inline constexpr int32_t kInverse = -1;

// Returns a new state, or null (with a log line) for null params. If memory runs out the
// result is null or a state that do_fft refuses.
FftState* fft_init(const FftInitParams* params);

// The same without the heap, for callers that own all their memory: bytes that a state of
// params.fftSize samples takes (0 for sizes that have no plan), and a usable state in that many
// bytes at `memory`, which must be aligned for a pointer. It prints nothing but what a windowType
// that is none prints. Such a state is not released; fft_free must not see it.
size_t fft_bytes(const FftInitParams& params);
FftState* fft_lay_out(void* memory, const FftInitParams& params);

// direction 1: `in` holds N samples and is windowed in place; `out` receives N/2+1 bins (N+2
// floats). direction -1: `in` holds N/2+1 bins and is left alone; `out` receives N windowed
// samples. Anything else, a null state or an unusable one is refused with a log line and `out` is
// left alone.
void do_fft(FftState* state, float* in, float* out, int32_t direction);

// The two directions without copies by the caller. Both return false, with the log line of do_fft
// and nothing written, for a state that do_fft refuses. The forward one leaves `frame` alone and
// writes the windowed samples to `windowed`. As in do_fft, the result of a size that the engine
// cannot transform is not written.
bool fft_analyse(FftState* state, const float* frame, float* windowed, float* bins);
bool fft_synthesise(FftState* state, const float* bins, float* frame);

// Releases the state and everything it owns; a null state prints a bare line.
void fft_free(FftState* state);
