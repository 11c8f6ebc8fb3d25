// SPDX-License-Identifier: MIT
//
// The one-lane type, for the elements that are left over after groups of four.
#pragma once

#include <cstdint>

#include "base/complex.h"
#include "base/reciprocal.h"
#include "base/saturate.h"
#include "simd/pairs.h"

namespace vekbf::simd {

struct f32x1 {
  static constexpr int kLanes = 1;
  using Mask = bool;

  float v;

  static f32x1 load(const float* p) { return {*p}; }
  static f32x1 splat(float x) { return {x}; }
  void store(float* p) const { *p = v; }
};

// Whether the arithmetic of V takes subnormals for zeros and makes zeros of them.
template <class V>
inline constexpr bool kFlushesSubnormals = false;

inline f32x1 operator+(f32x1 a, f32x1 b) { return {a.v + b.v}; }
inline f32x1 operator-(f32x1 a, f32x1 b) { return {a.v - b.v}; }
inline f32x1 operator*(f32x1 a, f32x1 b) { return {a.v * b.v}; }
inline f32x1 plus_product(f32x1 a, f32x1 b, f32x1 c) { return a + b * c; }
inline f32x1 minus_product(f32x1 a, f32x1 b, f32x1 c) { return a - b * c; }
inline f32x1 operator/(f32x1 a, f32x1 b) { return {a.v / b.v}; }
inline bool greater(f32x1 a, f32x1 b) { return a.v > b.v; }
inline bool greater_equal(f32x1 a, f32x1 b) { return a.v >= b.v; }
inline f32x1 select(bool mask, f32x1 a, f32x1 b) { return mask ? a : b; }
inline f32x1 reciprocal_estimate(f32x1 d) { return {vekbf::reciprocal_estimate(d.v)}; }
inline f32x1 reciprocal_two_step(f32x1 d) { return {vekbf::reciprocal_two_step(d.v)}; }

// The loads that name no lane type in their arguments; each backend specialises them.
template <class V>
Pairs<V> load_pairs(const Complex* p);
template <class V>
Pairs<V> copy_pairs(Complex* to, const Complex* from);

template <>
inline Pairs<f32x1> load_pairs<f32x1>(const Complex* p) {
  return {{p->re}, {p->im}};
}
inline void store_pairs(Complex* p, Pairs<f32x1> c) {
  p->re = c.re.v;
  p->im = c.im.v;
}
template <>
inline Pairs<f32x1> copy_pairs<f32x1>(Complex* to, const Complex* from) {
  *to = *from;
  return load_pairs<f32x1>(from);
}
inline void add_truncated(int16_t* acc, f32x1 v) {
  *acc = static_cast<int16_t>(wrapping_add(*acc, to_int32_saturating(v.v)));
}

}  // namespace vekbf::simd
