// SPDX-License-Identifier: MIT
//
// Plain floats, integers and doubles, `N` of each. The portable backend defines the results; every
// other backend must match it bit for bit. It is the backend of machines without another one, and
// its type of one lane serves everywhere for the elements that are left over after whole groups.
#pragma once

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "base/complex.h"
#include "base/reciprocal.h"
#include "base/saturate.h"
#include "base/target.h"
#include "simd/pairs.h"
#include "simd/scalar.h"
#include "simd/traits.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace simd {
namespace portable {

template <int N>
struct MaskN {
  static constexpr int kLanes = N;
  bool v[N];
};

template <int N>
struct f32xN {
  static constexpr int kLanes = N;
  using Mask = MaskN<N>;

  float v[N];

  static f32xN load(const float* p);
  static f32xN splat(float x);
  static Pairs<f32xN> load_pairs(const Complex* p);
  static Pairs<f32xN> copy_pairs(Complex* to, const Complex* from);
  void store(float* p) const {
    for (int i = 0; i < N; ++i) p[i] = v[i];
  }
};

template <int N>
struct f64xN {
  static constexpr int kLanes = N;
  double v[N];
  static f64xN splat(double x);
};

template <int N>
struct i32xN {
  static constexpr int kLanes = N;
  int32_t v[N];
  static i32xN splat(int32_t x);
  void store(int32_t* p) const {
    for (int i = 0; i < N; ++i) p[i] = v[i];
  }
};

// The lanes f(0), f(1), ... of an R, written out: a loop might stay one.
template <class R, class F, size_t... kIndex>
[[gnu::always_inline]] inline R each_of(F f, std::index_sequence<kIndex...>) {
  return {{f(kIndex)...}};
}
template <class R, class F>
[[gnu::always_inline]] inline R each(F f) {
  return each_of<R>(f, std::make_index_sequence<size_t{R::kLanes}>{});
}

template <int N>
inline f32xN<N> f32xN<N>::load(const float* p) {
  return each<f32xN>([&](size_t i) { return p[i]; });
}
template <int N>
inline f32xN<N> f32xN<N>::splat(float x) {
  return each<f32xN>([&](size_t) { return x; });
}
template <int N>
inline f64xN<N> f64xN<N>::splat(double x) {
  return each<f64xN>([&](size_t) { return x; });
}
template <int N>
inline i32xN<N> i32xN<N>::splat(int32_t x) {
  return each<i32xN>([&](size_t) { return x; });
}

template <int N>
inline f32xN<N> operator+(f32xN<N> a, f32xN<N> b) {
  return each<f32xN<N>>([&](size_t i) { return scalar::sum<N>(a.v[i], b.v[i]); });
}
template <int N>
inline f32xN<N> operator-(f32xN<N> a, f32xN<N> b) {
  return each<f32xN<N>>([&](size_t i) { return scalar::difference<N>(a.v[i], b.v[i]); });
}
template <int N>
inline f32xN<N> operator*(f32xN<N> a, f32xN<N> b) {
  return each<f32xN<N>>([&](size_t i) { return scalar::product<N>(a.v[i], b.v[i]); });
}
template <int N>
inline f32xN<N> operator/(f32xN<N> a, f32xN<N> b) {
  return each<f32xN<N>>([&](size_t i) { return a.v[i] / b.v[i]; });
}
template <int N>
inline f32xN<N> plus_product(f32xN<N> a, f32xN<N> b, f32xN<N> c) {
  return a + b * c;
}
template <int N>
inline f32xN<N> minus_product(f32xN<N> a, f32xN<N> b, f32xN<N> c) {
  return a - b * c;
}

template <int N>
inline MaskN<N> greater(f32xN<N> a, f32xN<N> b) {
  return each<MaskN<N>>([&](size_t i) { return scalar::is_greater<N>(a.v[i], b.v[i]); });
}
template <int N>
inline MaskN<N> greater_equal(f32xN<N> a, f32xN<N> b) {
  return each<MaskN<N>>([&](size_t i) { return scalar::is_greater_or_equal<N>(a.v[i], b.v[i]); });
}
template <int N>
inline f32xN<N> select(MaskN<N> mask, f32xN<N> a, f32xN<N> b) {
  return each<f32xN<N>>([&](size_t i) { return mask.v[i] ? a.v[i] : b.v[i]; });
}
template <int N>
inline bool any(MaskN<N> mask) {
  bool any = false;
  for (int i = 0; i < N; ++i) any = any || mask.v[i];
  return any;
}
template <int N>
inline bool any_nan(f32xN<N> a) {
  bool any = false;
  for (int i = 0; i < N; ++i) any = any || a.v[i] != a.v[i];
  return any;
}

template <int N>
inline f32xN<N> reciprocal_estimate(f32xN<N> d) {
  return each<f32xN<N>>([&](size_t i) { return vekbf::reciprocal_estimate(d.v[i]); });
}
template <int N>
inline f32xN<N> reciprocal_two_step(f32xN<N> d) {
  return each<f32xN<N>>([&](size_t i) { return vekbf::reciprocal_two_step(d.v[i]); });
}

template <int N>
inline f32xN<N> reverse(f32xN<N> a) {
  return each<f32xN<N>>([&](size_t i) { return a.v[size_t{N} - 1 - i]; });
}

template <int kBlock = 1, int N>
inline void interleave(f32xN<N>& a, f32xN<N>& b) {
  static_assert(N % kBlock == 0);
  const f32xN<N> rows[] = {a, b};
  const auto lane = [&](size_t i) {
    return rows[i / kBlock % 2].v[i / kBlock / 2 * kBlock + i % kBlock];
  };
  a = each<f32xN<N>>([&](size_t i) { return lane(i); });
  b = each<f32xN<N>>([&](size_t i) { return lane(N + i); });
}
template <int kBlock = 1, int N>
inline void interleave(f32xN<N>& a, f32xN<N>& b, f32xN<N>& c, f32xN<N>& d) {
  static_assert(N % kBlock == 0);
  const f32xN<N> rows[] = {a, b, c, d};
  const auto lane = [&](size_t i) {
    return rows[i / kBlock % 4].v[i / kBlock / 4 * kBlock + i % kBlock];
  };
  a = each<f32xN<N>>([&](size_t i) { return lane(i); });
  b = each<f32xN<N>>([&](size_t i) { return lane(N + i); });
  c = each<f32xN<N>>([&](size_t i) { return lane(2 * N + i); });
  d = each<f32xN<N>>([&](size_t i) { return lane(3 * N + i); });
}
template <int N>
inline void deinterleave(f32xN<N>& a, f32xN<N>& b) {
  const f32xN<N> rows[] = {a, b};
  const auto lane = [&](size_t i) { return rows[i / N].v[i % N]; };
  a = each<f32xN<N>>([&](size_t i) { return lane(2 * i); });
  b = each<f32xN<N>>([&](size_t i) { return lane(2 * i + 1); });
}

template <int N>
inline Pairs<f32xN<N>> f32xN<N>::load_pairs(const Complex* p) {
  return {each<f32xN>([&](size_t i) { return p[i].re; }),
          each<f32xN>([&](size_t i) { return p[i].im; })};
}
template <int N>
inline Pairs<f32xN<N>> f32xN<N>::copy_pairs(Complex* to, const Complex* from) {
  for (int i = 0; i < N; ++i) to[i] = from[i];
  return load_pairs(from);
}
template <int N>
inline void store_pairs(Complex* p, Pairs<f32xN<N>> c) {
  for (int i = 0; i < N; ++i) p[i] = {c.re.v[i], c.im.v[i]};
}
template <int N>
inline void add_truncated(int16_t* sums, f32xN<N> v) {
  for (int i = 0; i < N; ++i) {
    sums[i] = static_cast<int16_t>(wrapping_add(sums[i], to_int32_saturating(v.v[i])));
  }
}

// Integers.

template <int N>
inline i32xN<N> bits_of(f32xN<N> a) {
  return each<i32xN<N>>([&](size_t i) { return std::bit_cast<int32_t>(a.v[i]); });
}
template <int N>
inline f32xN<N> float_of_bits(i32xN<N> a) {
  return each<f32xN<N>>([&](size_t i) { return std::bit_cast<float>(a.v[i]); });
}
template <int N>
inline i32xN<N> operator-(i32xN<N> a, i32xN<N> b) {
  return each<i32xN<N>>([&](size_t i) {
    return static_cast<int32_t>(static_cast<uint32_t>(a.v[i]) - static_cast<uint32_t>(b.v[i]));
  });
}
template <int N>
inline i32xN<N> operator&(i32xN<N> a, i32xN<N> b) {
  return each<i32xN<N>>([&](size_t i) { return a.v[i] & b.v[i]; });
}
template <int kBits, int N>
inline i32xN<N> shifted_left(i32xN<N> a) {
  return each<i32xN<N>>(
      [&](size_t i) { return static_cast<int32_t>(static_cast<uint32_t>(a.v[i]) << kBits); });
}
template <int kBits, int N>
inline i32xN<N> shifted_right(i32xN<N> a) {
  return each<i32xN<N>>(
      [&](size_t i) { return static_cast<int32_t>(static_cast<uint32_t>(a.v[i]) >> kBits); });
}
template <int N>
inline f32xN<N> to_float(i32xN<N> a) {
  return each<f32xN<N>>([&](size_t i) { return static_cast<float>(a.v[i]); });
}
template <int N>
inline void offsets_of(i32xN<N> a, size_t* out) {
  for (int i = 0; i < N; ++i) out[i] = static_cast<uint16_t>(a.v[i]);
}
template <int N>
inline bool same_bits(f32xN<N> a, f32xN<N> b) {
  bool same = true;
  for (int i = 0; i < N; ++i) {
    same = same && std::bit_cast<int32_t>(a.v[i]) == std::bit_cast<int32_t>(b.v[i]);
  }
  return same;
}

// Doubles.

template <int N>
inline f64xN<N> operator+(f64xN<N> a, f64xN<N> b) {
  return each<f64xN<N>>([&](size_t i) { return a.v[i] + b.v[i]; });
}
template <int N>
inline f64xN<N> operator-(f64xN<N> a, f64xN<N> b) {
  return each<f64xN<N>>([&](size_t i) { return a.v[i] - b.v[i]; });
}
template <int N>
inline f64xN<N> operator*(f64xN<N> a, f64xN<N> b) {
  return each<f64xN<N>>([&](size_t i) { return a.v[i] * b.v[i]; });
}
template <int N>
inline f64xN<N> operator/(f64xN<N> a, f64xN<N> b) {
  return each<f64xN<N>>([&](size_t i) { return a.v[i] / b.v[i]; });
}
template <int N>
inline f64xN<N> square_root(f64xN<N> a) {
  return each<f64xN<N>>([&](size_t i) { return std::sqrt(a.v[i]); });
}
template <int N>
inline f64xN<N> widen(f32xN<N> a) {
  return each<f64xN<N>>([&](size_t i) { return static_cast<double>(a.v[i]); });
}
template <int N>
inline f32xN<N> narrow(f64xN<N> a) {
  return each<f32xN<N>>([&](size_t i) { return static_cast<float>(a.v[i]); });
}
template <int N>
inline f32xN<N> narrow_small(f64xN<N> a) {
  return narrow(a);
}
template <int N>
inline void load_columns(const void* base, const size_t* offsets, f64xN<N>& first,
                         f64xN<N>& second) {
  first = each<f64xN<N>>([&](size_t i) { return at_offset<double>(base, offsets[i])[0]; });
  second = each<f64xN<N>>([&](size_t i) { return at_offset<double>(base, offsets[i])[1]; });
}
template <int N>
inline void load_columns(const void* base, const size_t* offsets, f32xN<N>& a, f32xN<N>& b,
                         f32xN<N>& c, f32xN<N>& d) {
  const auto column = [&](int n) {
    return each<f32xN<N>>([&](size_t i) { return at_offset<float>(base, offsets[i])[n]; });
  };
  a = column(0);
  b = column(1);
  c = column(2);
  d = column(3);
}

}  // namespace portable

template <int N>
inline constexpr bool kFlushesSubnormals<portable::f32xN<N>> = scalar::kFlushes&& N > 1;

}  // namespace simd
}  // namespace VEKBF_TARGET
}  // namespace vekbf
