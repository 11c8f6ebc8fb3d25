// SPDX-License-Identifier: MIT
#include "fft/windowed_transform.h"

#include "fft/real_transform.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace fft {

bool windowed_forward(Complex* out, const float* in, float* windowed, const float* window,
                      const RealFftPlan* plan) {
  if (!is_supported(plan)) return false;
  with_lanes_for(plan->ncfft, [&](auto lane) {
    real_forward<decltype(lane)>(out, WindowedInput{in, window, windowed}, *plan);
  });
  return true;
}

bool windowed_inverse(float* out, const Complex* in, const float* window, const RealFftPlan* plan) {
  if (!is_supported(plan)) return false;
  with_lanes_for(plan->ncfft, [&](auto lane) {
    real_inverse<decltype(lane)>(WindowedOutput{out, window}, in, *plan);
  });
  return true;
}

void add_to(float* sums, const float* values, int32_t count) {
  simd::for_each_lane(count, [&](auto lane, int i) {
    using V = decltype(lane);
    (V::load(sums + i) + V::load(values + i)).store(sums + i);
  });
}

}  // namespace fft
}  // namespace VEKBF_TARGET
}  // namespace vekbf
