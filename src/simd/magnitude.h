// SPDX-License-Identifier: MIT
#pragma once

#include "base/magnitude.h"
#include "base/target.h"
#include "simd/lanes.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace simd {

inline f32x1 magnitude(f32x1 re, f32x1 im) { return {{vekbf::magnitude(re.v[0], im.v[0])}}; }

// |re + i im| in every lane, the same float as cabsf. A result that is no number needs the rule for
// an infinite part; one test covers all lanes.
template <class V>
inline V magnitude(V re, V im) {
  auto x = widen(re);
  auto y = widen(im);
  const V size = narrow(square_root(x * x + y * y));
  if (!any_nan(size)) [[likely]]
    return size;

  float a[V::kLanes], b[V::kLanes];
  re.store(a);
  im.store(b);
  for (int i = 0; i < V::kLanes; ++i) a[i] = vekbf::magnitude(a[i], b[i]);
  return V::load(a);
}

}  // namespace simd
}  // namespace VEKBF_TARGET
}  // namespace vekbf
