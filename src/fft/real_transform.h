// SPDX-License-Identifier: MIT
#pragma once

#include "fft/fft_engine.h"
#include "fft/passes.h"
#include "fft/real_steps.h"
#include "fft/sixteen.h"

namespace vekbf::fft {

inline bool is_supported(const RealFftPlan* plan) {
  return plan != nullptr && is_supported(plan->ncfft);
}

// The complex transform stays in the layout of the work areas: its last pass reads and writes the
// same places, so it runs in place.
template <class V, class Source>
inline void real_forward(Complex* out, const Source& in, const RealFftPlan& plan) {
  const int n = plan.ncfft;
  const Work<V> first(plan.buffer, n);
  const Work<V> second(plan.buffer + n, n);
  const BeforeLast<V> rest = all_but_last<V>(in, first, second, lines_of(n, plan.twiddles), n);
  last_pass<V>(rest.work, rest.work, rest.line, n);

  const Work<V>& z = rest.work;
  const Pairs<simd::f32x1> z0 = z.template load<simd::f32x1>(0);
  split<V>(z, Output{out}, plan.superTwiddles, n);
  out[0] = {z0.re.v + z0.im.v, 0.0f};
  out[n] = {z0.re.v - z0.im.v, 0.0f};
}

// The merge leaves its values exchanged, as the inverse wants them.
template <class V, class Sink>
inline void real_inverse(const Sink& out, const Complex* in, const RealFftPlan& plan) {
  const int n = plan.ncfft;
  const Work<V> first(plan.buffer, n);
  const Work<V> second(plan.buffer + n, n);
  const Exchanged<Work<V>> merged{first};
  const simd::f32x1 sum = {(in[0].re + in[n].re) * 0.5f};
  const simd::f32x1 difference = {(in[0].re - in[n].re) * 0.5f};
  merged.store(0, Pairs<simd::f32x1>{sum, difference});
  merge<V>(Input{in}, merged, plan.superTwiddles, n);

  const BeforeLast<V> rest = all_but_last<V>(first, second, first, lines_of(n, plan.twiddles), n);
  const float gain = 1.0f / static_cast<float>(n);
  last_pass<V>(rest.work, Exchanged<Scaled<Sink>>{{out, gain}}, rest.line, n);
}

}  // namespace vekbf::fft
