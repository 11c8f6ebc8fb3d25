// SPDX-License-Identifier: MIT
//
// The steps between the spectrum of N real samples and the transform of the same samples taken two
// by two as N/2 complex values.
#pragma once

#include "fft/access.h"

namespace vekbf::fft {

// Groups of four bins k from the bottom and their mirror images n-k from the top. At k = n/2 both
// are the same bin: it is written twice and the second value, the mirror image, stays.
template <class V, class Source, class Sink>
inline void split(const Source& z, const Sink& x, const Complex* super_twiddles, int n) {
  const V half = V::splat(0.5f);
  for (int k = 1; k <= n / 2; k += V::kLanes) {
    const int mirror = n - k - (V::kLanes - 1);
    const Pairs<V> a = z.template load<V>(k);
    const Pairs<V> top = z.template load<V>(mirror);
    const Pairs<V> b = {reverse(top.re), reverse(top.im)};  // not yet conjugate
    const Pairs<V> f1 = {a.re + b.re, a.im - b.im};
    const Pairs<V> f2 = {a.re - b.re, a.im + b.im};
    const Pairs<V> t = f2 * simd::load_pairs<V>(super_twiddles + k - 1);
    x.template store<V>(k, {half * (f1.re + t.re), half * (f1.im + t.im)});
    x.template store<V>(mirror, {reverse(half * (f1.re - t.re)), reverse(half * (t.im - f1.im))});
  }
}

template <class V, class Source, class Sink>
inline void merge(const Source& x, const Sink& z, const Complex* super_twiddles, int n) {
  const V half = V::splat(0.5f);
  for (int k = 1; k <= n / 2; k += V::kLanes) {
    const int mirror = n - k - (V::kLanes - 1);
    const Pairs<V> a = x.template load<V>(k);
    const Pairs<V> top = x.template load<V>(mirror);
    const Pairs<V> b = {reverse(top.re), reverse(top.im)};  // not yet conjugate
    const Pairs<V> e = {a.re + b.re, a.im - b.im};
    const Pairs<V> d = {a.re - b.re, a.im + b.im};
    const Pairs<V> o = times_conj(d, simd::load_pairs<V>(super_twiddles + k - 1));
    z.template store<V>(k, {half * (e.re + o.re), half * (e.im + o.im)});
    z.template store<V>(mirror, {reverse(half * (e.re - o.re)), reverse(half * (o.im - e.im))});
  }
}

}  // namespace vekbf::fft
