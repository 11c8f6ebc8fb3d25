// SPDX-License-Identifier: MIT
//
// Sources and sinks of the passes of a transform. Each loads or stores the complex values i, i+1,
// ... of one vector; a transform combines them as it needs, so that a pass is written once.
#pragma once

#include <type_traits>

#include "base/complex.h"
#include "base/target.h"
#include "simd/lanes.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace fft {

using simd::Pairs;

struct Input {
  const Complex* values;

  template <class V>
  [[gnu::always_inline]] Pairs<V> load(int i) const {
    return V::load_pairs(values + i);
  }
};

struct Output {
  Complex* values;

  template <class V>
  [[gnu::always_inline]] void store(int i, Pairs<V> c) const {
    store_pairs(values + i, c);
  }
};

// Intermediate buffer, private to the transform: planar (all real parts, then all imaginary ones),
// so that passes need no shuffles.
struct PlanarWork {
  float* re;
  float* im;

  PlanarWork(Complex* values, int count) : re(as_floats(values)), im(re + count) {}

  template <class V>
  [[gnu::always_inline]] Pairs<V> load(int i) const {
    return {V::load(re + i), V::load(im + i)};
  }
  template <class V>
  [[gnu::always_inline]] void store(int i, Pairs<V> c) const {
    c.re.store(re + i);
    c.im.store(im + i);
  }
};

// The same where `values` and all groups begin at multiples of the vectors' size.
struct AlignedPlanarWork : PlanarWork {
  using PlanarWork::PlanarWork;

  template <class V>
  [[gnu::always_inline]] Pairs<V> load(int i) const {
    return {simd::load_aligned<V>(re + i), simd::load_aligned<V>(im + i)};
  }
};

// The same for units whose loads separate the parts.
struct PairedWork {
  Complex* values;

  PairedWork(Complex* area, int) : values(area) {}

  template <class V>
  [[gnu::always_inline]] Pairs<V> load(int i) const {
    return V::load_pairs(values + i);
  }
  template <class V>
  [[gnu::always_inline]] void store(int i, Pairs<V> c) const {
    store_pairs(values + i, c);
  }
};

template <class V>
using Work = std::conditional_t<simd::kLoadsSeparate<V>, PairedWork, PlanarWork>;
template <class V>
using AlignedWork = std::conditional_t<simd::kLoadsSeparate<V>, PairedWork, AlignedPlanarWork>;

// Real and imaginary parts exchanged: around a forward transform this makes the inverse.
template <class Inner>
struct Exchanged {
  Inner inner;

  template <class V>
  [[gnu::always_inline]] Pairs<V> load(int i) const {
    const Pairs<V> c = inner.template load<V>(i);
    return {c.im, c.re};
  }
  template <class V>
  [[gnu::always_inline]] void store(int i, Pairs<V> c) const {
    inner.template store<V>(i, {c.im, c.re});
  }
};

template <class Inner>
struct Scaled {
  Inner inner;
  float gain;

  template <class V>
  [[gnu::always_inline]] void store(int i, Pairs<V> c) const {
    const V g = V::splat(gain);
    inner.template store<V>(i, {c.re * g, c.im * g});
  }
};

// Real samples two by two as complex values, windowed on the way in and kept so.
struct WindowedInput {
  const float* samples;
  const float* window;
  float* windowed;  // may be `samples`

  template <class V>
  [[gnu::always_inline]] Pairs<V> load(int i) const {
    const float* x = samples + 2 * i;
    const float* w = window + 2 * i;
    if constexpr (simd::kLoadsSeparate<V>) {
      Pairs<V> values = V::load_pairs(as_complex(x));
      Pairs<V> weights = V::load_pairs(as_complex(w));
      values = {values.re * weights.re, values.im * weights.im};
      store_pairs(as_complex(windowed + 2 * i), values);
      return values;
    } else {
      V first = V::load(x) * V::load(w);
      V second = V::load(x + V::kLanes) * V::load(w + V::kLanes);
      first.store(windowed + 2 * i);
      second.store(windowed + 2 * i + V::kLanes);
      deinterleave(first, second);
      return {first, second};
    }
  }
};

struct WindowedOutput {
  float* samples;
  const float* window;

  template <class V>
  [[gnu::always_inline]] void store(int i, Pairs<V> c) const {
    float* x = samples + 2 * i;
    const float* w = window + 2 * i;
    if constexpr (simd::kLoadsSeparate<V>) {
      Pairs<V> weights = V::load_pairs(as_complex(w));
      store_pairs(as_complex(x), Pairs<V>{c.re * weights.re, c.im * weights.im});
    } else {
      interleave(c.re, c.im);
      (c.re * V::load(w)).store(x);
      (c.im * V::load(w + V::kLanes)).store(x + V::kLanes);
    }
  }
};

}  // namespace fft
}  // namespace VEKBF_TARGET
}  // namespace vekbf
