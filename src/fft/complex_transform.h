// SPDX-License-Identifier: MIT
#pragma once

#include "fft/passes.h"
#include "fft/sixteen.h"

namespace vekbf::fft {

// The last pass must not read from `out`, whose layout is another one; the passes before it may
// use it as their second work area.
template <class V, class Source, class Sink>
inline void complex_transform(const Source& in, const Sink& sink, Complex* out, Complex* buffer,
                              const Complex* twiddles, int n) {
  Work<V> a(buffer, n);
  Work<V> b(out, n);
  if (ends_in_second(n)) {
    const Work<V> other = a;
    a = b;
    b = other;
  }
  const BeforeLast<V> rest = all_but_last<V>(in, a, b, lines_of(n, twiddles), n);
  last_pass<V>(rest.work, sink, rest.line, n);
}

template <class V>
inline void complex_forward(Complex* out, const Complex* in, Complex* buffer,
                            const Complex* twiddles, int n) {
  complex_transform<V>(Input{in}, Output{out}, out, buffer, twiddles, n);
}

template <class V>
inline void complex_inverse(Complex* out, const Complex* in, Complex* buffer,
                            const Complex* twiddles, int n) {
  using Sink = Exchanged<Scaled<Output>>;
  const float gain = 1.0f / static_cast<float>(n);
  complex_transform<V>(Exchanged<Input>{{in}}, Sink{{{out}, gain}}, out, buffer, twiddles, n);
}

}  // namespace vekbf::fft
