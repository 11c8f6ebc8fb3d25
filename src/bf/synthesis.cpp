// SPDX-License-Identifier: MIT
#include "bf/synthesis.h"

#include <cstring>

#include "fft/fft.h"
#include "simd/lanes.h"

namespace vekbf {

void synthesise(Instance& instance, const Complex* spectrum) {
  Complex bins[kBinCount];
  float frame[kFrameSize] = {};  // stays silent if the transform refuses
  std::memcpy(bins, spectrum, sizeof bins);
  do_fft(instance.fftState, as_floats(bins), frame, kInverse);

  // Deliberate: the sum wraps modulo 2^16, it does not clip. Half a float is exact unless the
  // result is subnormal, and then it truncates to 0 as the double product does.
  simd::for_each_lane(kFrameSize, [&](auto lane, int n) {
    using V = decltype(lane);
    add_truncated(&instance.outputOverlap[n], V::splat(0.5f) * V::load(&frame[n]));
  });
}

}  // namespace vekbf
