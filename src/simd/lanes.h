// SPDX-License-Identifier: MIT
//
// The lane layer: every hot loop is written once over a lane type V, and is right for any number of
// lanes. One file per backend (portable.h, sse2.h, avx2.h, neon.h, wasm.h) holds its types; all
// offer the same operations under the same names and give the same bits. The portable backend
// defines the results. Operations are element-wise, so lane order never matters.
//
// A lane type V of floats has
//   V::kLanes, V::load(p), V::splat(x), v.store(p)    no alignment needed
//   a + b, a - b, a * b, a / b                        IEEE single, each rounded
//   plus_product(a, b, c), minus_product(a, b, c)     a + b * c, a - b * c, b * c rounded
//   greater(a, b), greater_equal(a, b) -> V::Mask     false for not-a-number
//   select(mask, a, b)                                a where the mask is set, else b
//   any(mask), any_nan(v)                             true for one lane or more
//   V::load_pairs(p), store_pairs(p, c)               complex values, split into re and im
//   V::copy_pairs(to, from)                           copies, and returns what was copied
//   V::load_aligned(p)                                optional: p is a multiple of the vector
//   V::load_bins, V::copy_bins, V::store_bins, V::in_order_of_bins(v), V::load_repeated_four
//                                                     optional: see below
//   load_columns(base, offsets, a, b, c, d)           lane i: four floats at base + offsets[i]
//   reciprocal_two_step(d), reciprocal_estimate(d)    see base/reciprocal.h
//   add_truncated(sums, v)                            int16 sums[i] += saturated v[i], wraps
//   reverse(v)                                        last lane first
//   interleave(a, b), interleave(a, b, c, d)          a0 b0 a1 b1 ..., a0 b0 c0 d0 a1 b1 ...
//   interleave<n>(...)                                with blocks of n lanes, n < V::kLanes
//   deinterleave(a, b)                                undoes interleave
// Integers of 32 bits beside it, for table indices and exponents:
//   bits_of(v), float_of_bits(i)                      the representation of a float, and back
//   i - j, i & j                                      the difference wraps
//   shifted_left<n>(i), shifted_right<n>(i)           the latter fills with zeros
//   to_float(i)                                       conversion of small whole numbers
//   same_bits(v, w)                                   true if all lanes are represented alike
//   i.store(p), I::splat(x)
//   offsets_of(i, out)                                the low 16 bits of each lane
// Doubles beside it, for kernels that need the precision on the way:
//   widen(v), narrow(w)                               conversions, the latter rounded
//   narrow_small(w)                                   the same, where many results are subnormal
//   a + b, a - b, a * b, a / b, square_root(a), W::splat(x)
//   load_columns(base, offsets, first, second)        lane i: two doubles at base + offsets[i]
// Local variables of doubles, of pairs and of records of them are not const: gcc 12 does
// not take a constant record apart, and leaves it in memory.
#pragma once

#include "base/complex.h"
#include "base/target.h"
#include "simd/pairs.h"
#include "simd/portable.h"
#if defined(VEKBF_TARGET_NEON)
#include "simd/neon.h"
#elif defined(VEKBF_TARGET_SSE2)
#include "simd/sse2.h"
#elif defined(VEKBF_TARGET_WASM)
#include "simd/wasm.h"
#endif
#if defined(VEKBF_TARGET_AVX2)
#include "simd/avx2.h"
#endif

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace simd {

// The types of the target: one lane, four, and as many as it computes at once.
using f32x1 = portable::f32xN<1>;
#if defined(VEKBF_TARGET_NEON)
using f32x4 = neon::f32x4;
#elif defined(VEKBF_TARGET_SSE2)
using f32x4 = sse2::f32x4;
#elif defined(VEKBF_TARGET_WASM)
using f32x4 = wasm::f32x4;
#else
using f32x4 = portable::f32xN<4>;
#endif
#if defined(VEKBF_PORTABLE_LANES)
using Widest = portable::f32xN<VEKBF_PORTABLE_LANES>;
#elif defined(VEKBF_TARGET_AVX2)
using Widest = avx2::f32x8;
#else
using Widest = f32x4;
#endif

// The first kBlock values, repeated to fill all lanes.
template <class V, int kBlock>
[[gnu::always_inline]] inline Pairs<V> load_repeated(const Complex* p) {
  if constexpr (kBlock == 4 && requires { V::load_repeated_four(p); }) {
    return V::load_repeated_four(p);
  } else {
    Complex values[V::kLanes];
    for (int i = 0; i < V::kLanes; ++i) values[i] = p[i % kBlock];
    return V::load_pairs(values);
  }
}

// Where a vector begins at a multiple of its size, some units load it as they compute with it.
template <class V>
[[gnu::always_inline]] inline V load_aligned(const float* p) {
  if constexpr (requires { V::load_aligned(p); }) {
    return V::load_aligned(p);
  } else {
    return V::load(p);
  }
}

// Bins of a spectrum and values beside them (a power, a gain), lane by lane, where no operation
// looks at the order of the lanes: a type may take the order that costs it the fewest moves.
template <class V>
[[gnu::always_inline]] inline Pairs<V> load_bins(const Complex* p) {
  if constexpr (requires { V::load_bins(p); }) {
    return V::load_bins(p);
  } else {
    return V::load_pairs(p);
  }
}
template <class V>
[[gnu::always_inline]] inline Pairs<V> copy_bins(Complex* to, const Complex* from) {
  if constexpr (requires { V::copy_bins(to, from); }) {
    return V::copy_bins(to, from);
  } else {
    return V::copy_pairs(to, from);
  }
}
template <class V>
[[gnu::always_inline]] inline void store_bins(Complex* p, Pairs<V> c) {
  if constexpr (requires { V::store_bins(p, c); }) {
    V::store_bins(p, c);
  } else {
    store_pairs(p, c);
  }
}
template <class V>
[[gnu::always_inline]] inline V load_beside(const float* p) {
  if constexpr (requires { V::in_order_of_bins(V{}); }) {
    return V::in_order_of_bins(V::load(p));
  } else {
    return V::load(p);
  }
}
template <class V>
[[gnu::always_inline]] inline void store_beside(float* p, V v) {
  if constexpr (requires { V::in_order_of_bins(v); }) {
    V::in_order_of_bins(v).store(p);
  } else {
    v.store(p);
  }
}

// Calls body(V{}, i) for each whole group of lanes, then body(f32x1{}, i) for each index that is
// left over. A formula is then written once, in a generic lambda with `using V = decltype(lane)`.
template <class V = Widest, class Body>
inline void for_each_lane(int count, Body&& body) {
  int i = 0;
  for (; i + V::kLanes <= count; i += V::kLanes) body(V{}, i);
    // A few at most: copies of the body would cost more room than they save time.
#pragma GCC unroll 1
  for (; i < count; ++i) body(f32x1{}, i);
}

}  // namespace simd
}  // namespace VEKBF_TARGET
}  // namespace vekbf
