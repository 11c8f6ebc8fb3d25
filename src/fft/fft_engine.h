// SPDX-License-Identifier: MIT
//
// Mixed-radix FFT of real input (Cooley and Tukey 1965), by way of a complex transform of half the
// size. Stockham's self-sorting arrangement, so that no bit reversal is needed; see
// docs/numerics.md for the schedule of the butterflies.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/complex.h"

// Bytes. The transforms use the scratch of a plan from the next multiple on, whose vectors then lie
// in one cache line each; the bytes behind the scratch leave room for that.
inline constexpr size_t kScratchAlignment = 64;

// Everything one real transform of N points needs, in one heap block; free() releases it all.
struct RealFftPlan {
  Complex* buffer;         // scratch of N values, two halves of N/2
  int32_t ncfft;           // N/2, the size of the complex transform
  int32_t* factors;        // factor list, 64 slots; see fft_factor
  Complex* twiddles;       // N/2 slots, one line of (radix-1)*m values per stage after the first
  Complex* superTwiddles;  // N/4 slots for the step between the complex and the real transform
};

// What the complex transform needs to know; the real transforms fill one in from their plan.
struct ComplexFftConfig {
  int32_t nfft;       // points of the complex transform
  int32_t* factors;   // as in RealFftPlan
  Complex* twiddles;  // as in RealFftPlan
  Complex* buffer;    // work area of nfft values
};

// Slots of a factor list.
inline constexpr int kFactorSlots = 64;

// Splits n into radices and fills `factors` (64 slots): slot 0 the number of stages S, slot 1 n
// divided by the radix chosen last, then for stage i = 1..S in slots 2i and 2i+1 the radix p_i and
// the size m_i that remains after it, and in slot 2S+2 a flag: 0 for radices 2, 4 and 8 alone, 1
// otherwise. `flags` bit 0 allows radix 8 for remaining sizes 8, 24 and 40; bit 1 for every
// multiple of 8. Returns 0, or -1 for a null list, n < 1, or more than 21 stages.
int32_t fft_factor(int32_t n, int32_t* factors, int32_t flags);

// Returns a plan for real transforms of `size` points, to be released with free(); null for sizes
// below 2, or when memory runs out. Only powers of two from 64 up (and 32, whose complex part has
// 16 points) can be transformed; for other sizes the plan exists but the transforms return without
// writing.
RealFftPlan* fft_plan_alloc(int32_t size);

// The same without the heap, for callers that own all their memory: bytes that a plan of `size`
// points takes (0 for sizes below 2, and where no memory can be so large), and a plan laid out in
// that many bytes at `memory`, which must be aligned for a pointer. Such a plan is not released.
size_t fft_plan_bytes(int32_t size);
RealFftPlan* fft_plan_lay_out(void* memory, int32_t size);

// Complex transform of config->nfft points from `in` to `out` (which must not overlap each other or
// the work area). inverse == 0: Y[k] = sum x[n] exp(-2 pi i k n / nfft), unscaled; otherwise the
// inverse, scaled by 1/nfft. Sizes: 16 and every power of two from 32 up; for others nothing is
// written.
void fft_complex(Complex* out, const Complex* in, const ComplexFftConfig* config, int32_t inverse);

// N real samples in, N/2+1 bins out (unscaled DFT); the imaginary parts of bins 0 and N/2 are 0.
void fft_real_forward(Complex* out, const float* in, RealFftPlan* plan);

// N/2+1 bins in, N real samples out, scaled by 1/N: the inverse of fft_real_forward. The imaginary
// parts of bins 0 and N/2 are not read.
void fft_real_inverse(float* out, const Complex* in, RealFftPlan* plan);
