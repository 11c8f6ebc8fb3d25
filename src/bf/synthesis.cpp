// SPDX-License-Identifier: MIT
#include "bf/synthesis.h"

#include "fft/fft.h"
#include "simd/lanes.h"

namespace vekbf {

void synthesise(Instance& instance, const Complex* spectrum) {
  float frame[kFrameSize];
  if (!fft_synthesise(instance.fftState, as_floats(spectrum), frame)) return;

  // Deliberate: the sum wraps modulo 2^16, it does not clip. Half a float is exact unless the
  // result is subnormal, and then it truncates to 0 as the double product does.
  simd::for_each_lane(kFrameSize, [&](auto lane, int n) {
    using V = decltype(lane);
    add_truncated(&instance.outputOverlap[n], V::splat(0.5f) * V::load(&frame[n]));
  });
}

}  // namespace vekbf
