// SPDX-License-Identifier: MIT
#pragma once

#include "base/sizes.h"
#include "simd/f32x4.h"
#include "simd/pairs.h"

namespace vekbf::simd {

// Calls body(V{}, i) for i = 0, 4, 8, ... with a four-lane V, then for each index that is left with
// the one-lane type, so that a formula is written once: `using V = decltype(lane)` inside a generic
// lambda.
template <class V4 = f32x4, class Body>
inline void for_each_lane(int count, Body&& body) {
  int i = 0;
  for (; i + V4::kLanes <= count; i += V4::kLanes) body(V4{}, i);
    // Three at most: copies of the body would cost more room than they save time.
#pragma GCC unroll 1
  for (; i < count; ++i) body(f32x1{}, i);
}

// The same over the bins of a spectrum: bins 0 to 255 four at a time, bin 256 on its own.
template <class V4 = f32x4, class Body>
inline void for_each_bin(Body&& body) {
  for_each_lane<V4>(kBinCount, body);
}

}  // namespace vekbf::simd
