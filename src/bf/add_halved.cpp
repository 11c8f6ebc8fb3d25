// SPDX-License-Identifier: MIT
#include "bf/add_halved.h"

#include "simd/lanes.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

void add_halved(int16_t (&overlap)[kFrameSize], const Frame& frame) {
  // bit-exact contract: the sum wraps modulo 2^16, it does not clip. (Half a float is exact unless
  // the result is subnormal, and then it truncates to 0 as the double product does.)
  simd::for_each_lane(kFrameSize, [&](auto lane, int n) {
    using V = decltype(lane);
    add_truncated(&overlap[n], V::splat(0.5f) * V::load(&frame[n]));
  });
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
