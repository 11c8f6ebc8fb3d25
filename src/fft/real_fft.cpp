// SPDX-License-Identifier: MIT
#include "fft/fft_engine.h"
#include "fft/real_transform.h"
#include "fft/windowed.h"

namespace {

using vekbf::simd::f32x4;

// Two samples are one complex value.
Complex* as_complex(float* samples) { return reinterpret_cast<Complex*>(samples); }
const Complex* as_complex(const float* samples) {
  return reinterpret_cast<const Complex*>(samples);
}

}  // namespace

void fft_real_forward(Complex* out, const float* in, RealFftPlan* plan) {
  using namespace vekbf::fft;
  if (!is_supported(plan)) return;
  real_forward<f32x4>(out, Input{as_complex(in)}, *plan);
}

void fft_real_inverse(float* out, const Complex* in, RealFftPlan* plan) {
  using namespace vekbf::fft;
  if (!is_supported(plan)) return;
  real_inverse<f32x4>(Output{as_complex(out)}, in, *plan);
}

namespace vekbf::fft {

bool windowed_forward(Complex* out, const float* in, float* windowed, const float* window,
                      const RealFftPlan* plan) {
  if (!is_supported(plan)) return false;
  real_forward<f32x4>(out, WindowedInput{in, window, windowed}, *plan);
  return true;
}

bool windowed_inverse(float* out, const Complex* in, const float* window, const RealFftPlan* plan) {
  if (!is_supported(plan)) return false;
  real_inverse<f32x4>(WindowedOutput{out, window}, in, *plan);
  return true;
}

}  // namespace vekbf::fft
