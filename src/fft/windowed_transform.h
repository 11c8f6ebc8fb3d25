// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "base/target.h"
#include "fft/fft_engine.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace fft {

// The real transforms with the window multiplied in on the way: the same values as a loop over the
// samples before or after them, without another pass through memory. Samples 2*ncfft and up
// (the last one of an odd frame) are not written. False, and nothing written, where the plan is
// null or of a size that cannot be transformed. `windowed`, which may be `in`, receives the
// windowed samples.
bool windowed_forward(Complex* out, const float* in, float* windowed, const float* window,
                      const RealFftPlan* plan);
bool windowed_inverse(float* out, const Complex* in, const float* window, const RealFftPlan* plan);

// sums[i] += values[i].
void add_to(float* sums, const float* values, int32_t count);

}  // namespace fft
}  // namespace VEKBF_TARGET
}  // namespace vekbf
