// SPDX-License-Identifier: MIT
//
// In the place of the library's header of this name: four plain floats with the arithmetic of the
// 32-bit ARM vector unit, which takes subnormal operands for zeros of their sign and gives zeros
// for results that are subnormal before they are rounded. What the NEON backend leaves to the
// scalar unit (division, magnitude, doubles) and what moves bits only (loads, selections) keeps
// them here too. On 32-bit ARM a test holds it against the unit itself.
#pragma once

#include <cmath>
#include <cstdint>
#include <utility>

#include "simd/f32x1.h"

namespace vekbf::simd {
namespace portable {

struct f32x4 {
  static constexpr int kLanes = 4;
  struct Mask {
    bool v[4];
  };

  float v[4];

  static f32x4 load(const float* p) { return {{p[0], p[1], p[2], p[3]}}; }
  static f32x4 splat(float x) { return {{x, x, x, x}}; }
  void store(float* p) const {
    for (int i = 0; i < 4; ++i) p[i] = v[i];
  }
};

inline constexpr float kSmallestNormal = 0x1p-126f;

inline float flushed(float x) {
  return std::fabs(x) < kSmallestNormal ? std::copysign(0.0f, x) : x;
}
// A sum of normal floats is exact where it is subnormal; a product need not be.
inline float flushed_sum(float a, float b) { return flushed(flushed(a) + flushed(b)); }
inline float flushed_product(float a, float b) {
  const float product = flushed(a) * flushed(b);
  const double exact = static_cast<double>(flushed(a)) * static_cast<double>(flushed(b));
  return std::fabs(exact) < static_cast<double>(kSmallestNormal) ? std::copysign(0.0f, product)
                                                                 : product;
}
// Applies a scalar operation to each lane.
template <class F>
inline f32x4 each(F f) {
  return {{f(0), f(1), f(2), f(3)}};
}

inline f32x4 operator+(f32x4 a, f32x4 b) {
  return each([&](int i) { return flushed_sum(a.v[i], b.v[i]); });
}
inline f32x4 operator-(f32x4 a, f32x4 b) {
  return each([&](int i) { return flushed(flushed(a.v[i]) - flushed(b.v[i])); });
}
inline f32x4 operator*(f32x4 a, f32x4 b) {
  return each([&](int i) { return flushed_product(a.v[i], b.v[i]); });
}
inline f32x4 plus_product(f32x4 a, f32x4 b, f32x4 c) { return a + b * c; }
inline f32x4 minus_product(f32x4 a, f32x4 b, f32x4 c) { return a - b * c; }
inline f32x4 operator/(f32x4 a, f32x4 b) {
  return each([&](int i) { return a.v[i] / b.v[i]; });
}
inline f32x4::Mask greater(f32x4 a, f32x4 b) {
  f32x4::Mask mask;
  for (int i = 0; i < 4; ++i) mask.v[i] = flushed(a.v[i]) > flushed(b.v[i]);
  return mask;
}
inline f32x4::Mask greater_equal(f32x4 a, f32x4 b) {
  f32x4::Mask mask;
  for (int i = 0; i < 4; ++i) mask.v[i] = flushed(a.v[i]) >= flushed(b.v[i]);
  return mask;
}
inline f32x4 select(f32x4::Mask mask, f32x4 a, f32x4 b) {
  return each([&](int i) { return mask.v[i] ? a.v[i] : b.v[i]; });
}
inline bool any_nan(f32x4 a) {
  return a.v[0] != a.v[0] || a.v[1] != a.v[1] || a.v[2] != a.v[2] || a.v[3] != a.v[3];
}
inline f32x4 reciprocal_estimate(f32x4 d) {
  return each([&](int i) { return vekbf::reciprocal_estimate(d.v[i]); });
}
// Never of zero or a subnormal in the library.
inline f32x4 reciprocal_two_step(f32x4 d) {
  return each([&](int i) { return vekbf::reciprocal_two_step(d.v[i]); });
}
inline f32x4 reverse(f32x4 a) { return {{a.v[3], a.v[2], a.v[1], a.v[0]}}; }

inline void interleave(f32x4& a, f32x4& b) {
  const f32x4 low = {{a.v[0], b.v[0], a.v[1], b.v[1]}};
  b = {{a.v[2], b.v[2], a.v[3], b.v[3]}};
  a = low;
}

inline void deinterleave(f32x4& a, f32x4& b) {
  const f32x4 even = {{a.v[0], a.v[2], b.v[0], b.v[2]}};
  b = {{a.v[1], a.v[3], b.v[1], b.v[3]}};
  a = even;
}

inline void transpose(f32x4& a, f32x4& b, f32x4& c, f32x4& d) {
  std::swap(a.v[1], b.v[0]);
  std::swap(a.v[2], c.v[0]);
  std::swap(a.v[3], d.v[0]);
  std::swap(b.v[2], c.v[1]);
  std::swap(b.v[3], d.v[1]);
  std::swap(c.v[3], d.v[2]);
}

inline void store_pairs(Complex* p, Pairs<f32x4> c) {
  for (int i = 0; i < 4; ++i) p[i] = {c.re.v[i], c.im.v[i]};
}
inline void add_truncated(int16_t* acc, f32x4 v) {
  for (int i = 0; i < 4; ++i) {
    acc[i] = static_cast<int16_t>(wrapping_add(acc[i], to_int32_saturating(v.v[i])));
  }
}

}  // namespace portable

template <>
inline constexpr bool kFlushesSubnormals<portable::f32x4> = true;

template <>
inline Pairs<portable::f32x4> load_pairs<portable::f32x4>(const Complex* p) {
  return {{{p[0].re, p[1].re, p[2].re, p[3].re}}, {{p[0].im, p[1].im, p[2].im, p[3].im}}};
}
template <>
inline Pairs<portable::f32x4> copy_pairs<portable::f32x4>(Complex* to, const Complex* from) {
  for (int i = 0; i < 4; ++i) to[i] = from[i];
  return load_pairs<portable::f32x4>(from);
}

}  // namespace vekbf::simd
