// SPDX-License-Identifier: MIT
//
// The forward butterflies of docs/numerics.md, for one value per lane.
#pragma once

#include "simd/pairs.h"

namespace vekbf::fft {

using simd::Pairs;

template <class V>
struct Radix4 {
  Pairs<V> y0, y1, y2, y3;
};

template <class V>
[[gnu::always_inline]] inline Radix4<V> radix4(Pairs<V> t0, Pairs<V> t1, Pairs<V> t2, Pairs<V> t3) {
  const Pairs<V> a = t0 + t2;
  const Pairs<V> b = t0 - t2;
  const Pairs<V> c = t1 + t3;
  const Pairs<V> d = t1 - t3;
  return {a + c, {b.re + d.im, b.im - d.re}, a - c, {b.re - d.im, b.im + d.re}};
}

template <class V>
struct Radix8 {
  Radix4<V> low;   // outputs 0 to 3
  Radix4<V> high;  // outputs 4 to 7
};

// From the butterflies of the even and of the odd inputs.
template <class V>
[[gnu::always_inline]] inline Radix8<V> radix8(const Radix4<V>& even, const Radix4<V>& odd) {
  const V h = V::splat(0.70710677f);
  const Pairs<V> o1 = odd.y1;
  const Pairs<V> o2 = odd.y2;
  const Pairs<V> o3 = odd.y3;
  const Pairs<V> r1 = {h * (o1.re + o1.im), h * (o1.im - o1.re)};
  // Rotations by a quarter turn: the signs go into the sums below.
  const V r3_re = h * (o3.im - o3.re);
  const V r3_im = h * (o3.re + o3.im);
  return {{even.y0 + odd.y0,
           even.y1 + r1,
           {even.y2.re + o2.im, even.y2.im - o2.re},
           {even.y3.re + r3_re, even.y3.im - r3_im}},
          {even.y0 - odd.y0,
           even.y1 - r1,
           {even.y2.re - o2.im, even.y2.im + o2.re},
           {even.y3.re - r3_re, even.y3.im + r3_im}}};
}

}  // namespace vekbf::fft
