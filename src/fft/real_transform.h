// SPDX-License-Identifier: MIT
//
// The transform of N real samples by way of the complex one of the same samples taken two by two as
// N/2 values, and the steps between the two spectra.
#pragma once

#include <cstdint>

#include "base/target.h"
#include "fft/complex_transform.h"
#include "fft/fft_engine.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace fft {

// Groups of bins k from the bottom and their mirror images n-k from the top. At k = n/2 both
// are the same bin: it is written twice and the second value, the mirror image, stays.
template <class V, class Source, class Sink>
inline void split(const Source& z, const Sink& x, const Complex* super_twiddles, int n) {
  V half = V::splat(0.5f);
  for (int k = 1; k <= n / 2; k += V::kLanes) {
    const int mirror = n - k - (V::kLanes - 1);
    Pairs<V> a = z.template load<V>(k);
    Pairs<V> top = z.template load<V>(mirror);
    Pairs<V> b = {reverse(top.re), reverse(top.im)};  // not yet conjugate
    Pairs<V> f1 = {a.re + b.re, a.im - b.im};
    Pairs<V> f2 = {a.re - b.re, a.im + b.im};
    Pairs<V> t = f2 * V::load_pairs(super_twiddles + k - 1);
    x.template store<V>(k, {half * (f1.re + t.re), half * (f1.im + t.im)});
    x.template store<V>(mirror, {reverse(half * (f1.re - t.re)), reverse(half * (t.im - f1.im))});
  }
}

template <class V, class Source, class Sink>
inline void merge(const Source& x, const Sink& z, const Complex* super_twiddles, int n) {
  V half = V::splat(0.5f);
  for (int k = 1; k <= n / 2; k += V::kLanes) {
    const int mirror = n - k - (V::kLanes - 1);
    Pairs<V> a = x.template load<V>(k);
    Pairs<V> top = x.template load<V>(mirror);
    Pairs<V> b = {reverse(top.re), reverse(top.im)};  // not yet conjugate
    Pairs<V> e = {a.re + b.re, a.im - b.im};
    Pairs<V> d = {a.re - b.re, a.im + b.im};
    Pairs<V> o = times_conj(d, V::load_pairs(super_twiddles + k - 1));
    z.template store<V>(k, {half * (e.re + o.re), half * (e.im + o.im)});
    z.template store<V>(mirror, {reverse(half * (e.re - o.re)), reverse(half * (o.im - e.im))});
  }
}

inline bool is_supported(const RealFftPlan* plan) {
  return plan != nullptr && is_supported(plan->ncfft);
}

// The two work areas of a transform, one behind the other. (On 32-bit machines a plan may lie at a
// multiple of four.)
inline Complex* aligned_scratch(const RealFftPlan& plan) {
  const uintptr_t skipped = -reinterpret_cast<uintptr_t>(plan.buffer) % kScratchAlignment;
  return reinterpret_cast<Complex*>(reinterpret_cast<char*>(plan.buffer) + skipped);
}

// The complex transform stays in the layout of the work areas: its last pass reads and writes the
// same places, so it runs in place.
template <class V, class Source>
[[gnu::always_inline]] inline void real_forward(Complex* out, const Source& in,
                                                const RealFftPlan& plan) {
  const int n = plan.ncfft;
  Complex* const scratch = aligned_scratch(plan);
  const AlignedWork<V> first(scratch, n);
  const AlignedWork<V> second(scratch + n, n);
  const BeforeLast<AlignedWork<V>> rest =
      all_but_last<V>(in, first, second, lines_of(n, plan.twiddles), n);
  last_pass<V>(rest.work, rest.work, rest.line, n);

  const Work<V>& z = rest.work;  // groups begin at bin 1 from here on
  const Pairs<simd::f32x1> z0 = z.template load<simd::f32x1>(0);
  split<V>(z, Output{out}, plan.superTwiddles, n);
  out[0] = {z0.re.v[0] + z0.im.v[0], 0.0f};
  out[n] = {z0.re.v[0] - z0.im.v[0], 0.0f};
}

// The merge leaves its values exchanged, as the inverse wants them.
template <class V, class Sink>
[[gnu::always_inline]] inline void real_inverse(const Sink& out, const Complex* in,
                                                const RealFftPlan& plan) {
  const int n = plan.ncfft;
  Complex* const scratch = aligned_scratch(plan);
  const AlignedWork<V> first(scratch, n);
  const AlignedWork<V> second(scratch + n, n);
  const Exchanged<Work<V>> merged{first};
  const simd::f32x1 sum = {{(in[0].re + in[n].re) * 0.5f}};
  const simd::f32x1 difference = {{(in[0].re - in[n].re) * 0.5f}};
  merged.store(0, Pairs<simd::f32x1>{sum, difference});
  merge<V>(Input{in}, merged, plan.superTwiddles, n);

  const BeforeLast<AlignedWork<V>> rest =
      all_but_last<V>(first, second, first, lines_of(n, plan.twiddles), n);
  const float gain = 1.0f / static_cast<float>(n);
  last_pass<V>(rest.work, Exchanged<Scaled<Sink>>{{out, gain}}, rest.line, n);
}

}  // namespace fft
}  // namespace VEKBF_TARGET
}  // namespace vekbf
