// SPDX-License-Identifier: MIT
//
// Four plain floats: the meaning of the other backends, and the backend of machines without one.
#pragma once

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

// Applies a scalar operation to each lane.
template <class F>
inline f32x4 each(F f) {
  return {{f(0), f(1), f(2), f(3)}};
}

inline f32x4 operator+(f32x4 a, f32x4 b) {
  return each([&](int i) { return a.v[i] + b.v[i]; });
}
inline f32x4 operator-(f32x4 a, f32x4 b) {
  return each([&](int i) { return a.v[i] - b.v[i]; });
}
inline f32x4 operator*(f32x4 a, f32x4 b) {
  return each([&](int i) { return a.v[i] * b.v[i]; });
}
inline f32x4 plus_product(f32x4 a, f32x4 b, f32x4 c) { return a + b * c; }
inline f32x4 minus_product(f32x4 a, f32x4 b, f32x4 c) { return a - b * c; }
inline f32x4 operator/(f32x4 a, f32x4 b) {
  return each([&](int i) { return a.v[i] / b.v[i]; });
}
inline f32x4::Mask greater(f32x4 a, f32x4 b) {
  return {{a.v[0] > b.v[0], a.v[1] > b.v[1], a.v[2] > b.v[2], a.v[3] > b.v[3]}};
}
inline f32x4::Mask greater_equal(f32x4 a, f32x4 b) {
  return {{a.v[0] >= b.v[0], a.v[1] >= b.v[1], a.v[2] >= b.v[2], a.v[3] >= b.v[3]}};
}
inline f32x4 select(f32x4::Mask mask, f32x4 a, f32x4 b) {
  return each([&](int i) { return mask.v[i] ? a.v[i] : b.v[i]; });
}
inline f32x4 reciprocal_estimate(f32x4 d) {
  return each([&](int i) { return vekbf::reciprocal_estimate(d.v[i]); });
}
inline f32x4 reciprocal_two_step(f32x4 d) {
  return each([&](int i) { return vekbf::reciprocal_two_step(d.v[i]); });
}
inline bool any_nan(f32x4 a) {
  return a.v[0] != a.v[0] || a.v[1] != a.v[1] || a.v[2] != a.v[2] || a.v[3] != a.v[3];
}
inline f32x4 reverse(f32x4 a) { return {{a.v[3], a.v[2], a.v[1], a.v[0]}}; }

// a0 b0 a1 b1 and a2 b2 a3 b3.
inline void interleave(f32x4& a, f32x4& b) {
  const f32x4 low = {{a.v[0], b.v[0], a.v[1], b.v[1]}};
  b = {{a.v[2], b.v[2], a.v[3], b.v[3]}};
  a = low;
}

// a0 a2 b0 b2 and a1 a3 b1 b3: undoes interleave.
inline void deinterleave(f32x4& a, f32x4& b) {
  const f32x4 even = {{a.v[0], a.v[2], b.v[0], b.v[2]}};
  b = {{a.v[1], a.v[3], b.v[1], b.v[3]}};
  a = even;
}

// Rows become columns.
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
inline Pairs<portable::f32x4> load_pairs<portable::f32x4>(const Complex* p) {
  return {{{p[0].re, p[1].re, p[2].re, p[3].re}}, {{p[0].im, p[1].im, p[2].im, p[3].im}}};
}
template <>
inline Pairs<portable::f32x4> copy_pairs<portable::f32x4>(Complex* to, const Complex* from) {
  for (int i = 0; i < 4; ++i) to[i] = from[i];
  return load_pairs<portable::f32x4>(from);
}

}  // namespace vekbf::simd
