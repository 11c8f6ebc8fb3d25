// SPDX-License-Identifier: MIT
//
// Four doubles beside the four floats of f32x4.h (and one beside f32x1), for kernels that need the
// precision on the way:
//   widen(v), narrow(w)              conversions, the latter rounded
//   a + b, a - b, a * b, a / b, square_root(a), W::splat(x)
//   load_columns<W>(base, offsets)   lane i: first, second = the two doubles at base + offsets[i]
// The 32-bit ARM vector unit has no doubles, so its scalar unit runs the portable text.
#pragma once

#include <cmath>
#include <cstddef>

#include "simd/f32x4.h"
#include "simd/f64x2.h"

namespace vekbf::simd {

struct f64x1 {
  static constexpr int kLanes = 1;
  double v;
  static f64x1 splat(double x) { return {x}; }
};

inline f64x1 operator+(f64x1 a, f64x1 b) { return {a.v + b.v}; }
inline f64x1 operator-(f64x1 a, f64x1 b) { return {a.v - b.v}; }
inline f64x1 operator*(f64x1 a, f64x1 b) { return {a.v * b.v}; }
inline f64x1 operator/(f64x1 a, f64x1 b) { return {a.v / b.v}; }
inline f64x1 square_root(f64x1 a) { return {std::sqrt(a.v)}; }
inline f64x1 widen(f32x1 a) { return {static_cast<double>(a.v)}; }
inline f32x1 narrow(f64x1 a) { return {static_cast<float>(a.v)}; }

// Specialised by each backend.
template <class W>
Columns<W> load_columns(const void* base, const size_t* offsets);

inline const double* doubles_at(const void* base, size_t offset) {
  return reinterpret_cast<const double*>(static_cast<const char*>(base) + offset);
}

template <>
inline Columns<f64x1> load_columns<f64x1>(const void* base, const size_t* offsets) {
  const double* row = doubles_at(base, offsets[0]);
  return {{row[0]}, {row[1]}};
}

namespace portable {

struct f64x4 {
  static constexpr int kLanes = 4;
  double v[4];
  static f64x4 splat(double x) { return {{x, x, x, x}}; }
};

template <class F>
inline f64x4 each_double(F f) {
  return {{f(0), f(1), f(2), f(3)}};
}

inline f64x4 operator+(f64x4 a, f64x4 b) {
  return each_double([&](int i) { return a.v[i] + b.v[i]; });
}
inline f64x4 operator-(f64x4 a, f64x4 b) {
  return each_double([&](int i) { return a.v[i] - b.v[i]; });
}
inline f64x4 operator*(f64x4 a, f64x4 b) {
  return each_double([&](int i) { return a.v[i] * b.v[i]; });
}
inline f64x4 operator/(f64x4 a, f64x4 b) {
  return each_double([&](int i) { return a.v[i] / b.v[i]; });
}
inline f64x4 square_root(f64x4 a) {
  return each_double([&](int i) { return std::sqrt(a.v[i]); });
}
inline f64x4 widen(f32x4 a) {
  return each_double([&](int i) { return static_cast<double>(a.v[i]); });
}
inline f32x4 narrow(f64x4 a) {
  return each([&](int i) { return static_cast<float>(a.v[i]); });
}

}  // namespace portable

template <>
inline Columns<portable::f64x4> load_columns<portable::f64x4>(const void* base,
                                                              const size_t* offsets) {
  return {portable::each_double([&](int i) { return doubles_at(base, offsets[i])[0]; }),
          portable::each_double([&](int i) { return doubles_at(base, offsets[i])[1]; })};
}

#if !defined(VEKBF_PORTABLE) && defined(__ARM_NEON) && defined(__aarch64__)

namespace neon {

struct f64x4 {
  static constexpr int kLanes = 4;
  float64x2_t lo, hi;
  static f64x4 splat(double x) { return {vdupq_n_f64(x), vdupq_n_f64(x)}; }
};

inline f64x4 operator+(f64x4 a, f64x4 b) { return {vaddq_f64(a.lo, b.lo), vaddq_f64(a.hi, b.hi)}; }
inline f64x4 operator-(f64x4 a, f64x4 b) { return {vsubq_f64(a.lo, b.lo), vsubq_f64(a.hi, b.hi)}; }
inline f64x4 operator*(f64x4 a, f64x4 b) { return {vmulq_f64(a.lo, b.lo), vmulq_f64(a.hi, b.hi)}; }
inline f64x4 operator/(f64x4 a, f64x4 b) { return {vdivq_f64(a.lo, b.lo), vdivq_f64(a.hi, b.hi)}; }
inline f64x4 square_root(f64x4 a) { return {vsqrtq_f64(a.lo), vsqrtq_f64(a.hi)}; }
inline f64x4 widen(f32x4 a) { return {vcvt_f64_f32(vget_low_f32(a.v)), vcvt_high_f64_f32(a.v)}; }
inline f32x4 narrow(f64x4 a) { return {vcvt_high_f32_f64(vcvt_f32_f64(a.lo), a.hi)}; }

}  // namespace neon

template <>
inline Columns<neon::f64x4> load_columns<neon::f64x4>(const void* base, const size_t* offsets) {
  const float64x2_t a = vld1q_f64(doubles_at(base, offsets[0]));
  const float64x2_t b = vld1q_f64(doubles_at(base, offsets[1]));
  const float64x2_t c = vld1q_f64(doubles_at(base, offsets[2]));
  const float64x2_t d = vld1q_f64(doubles_at(base, offsets[3]));
  return {{vzip1q_f64(a, b), vzip1q_f64(c, d)}, {vzip2q_f64(a, b), vzip2q_f64(c, d)}};
}

#elif !defined(VEKBF_PORTABLE) && defined(__ARM_NEON)

namespace neon {

// The scalar unit's doubles.
struct f64x4 {
  static constexpr int kLanes = 4;
  portable::f64x4 all;
  static f64x4 splat(double x) { return {portable::f64x4::splat(x)}; }
};

inline f64x4 operator+(f64x4 a, f64x4 b) { return {a.all + b.all}; }
inline f64x4 operator-(f64x4 a, f64x4 b) { return {a.all - b.all}; }
inline f64x4 operator*(f64x4 a, f64x4 b) { return {a.all * b.all}; }
inline f64x4 operator/(f64x4 a, f64x4 b) { return {a.all / b.all}; }
inline f64x4 square_root(f64x4 a) { return {square_root(a.all)}; }
inline f64x4 widen(f32x4 a) {
  portable::f32x4 x;
  a.store(x.v);
  return {portable::widen(x)};
}
inline f32x4 narrow(f64x4 a) {
  const portable::f32x4 x = portable::narrow(a.all);
  return f32x4::load(x.v);
}

}  // namespace neon

template <>
inline Columns<neon::f64x4> load_columns<neon::f64x4>(const void* base, const size_t* offsets) {
  const auto [first, second] = load_columns<portable::f64x4>(base, offsets);
  return {{first}, {second}};
}

#elif !defined(VEKBF_PORTABLE) && defined(__SSE2__)

namespace sse2 {

struct f64x4 {
  static constexpr int kLanes = 4;
  __m128d lo, hi;
  static f64x4 splat(double x) { return {_mm_set1_pd(x), _mm_set1_pd(x)}; }
};

inline f64x4 operator+(f64x4 a, f64x4 b) {
  return {_mm_add_pd(a.lo, b.lo), _mm_add_pd(a.hi, b.hi)};
}
inline f64x4 operator-(f64x4 a, f64x4 b) {
  return {_mm_sub_pd(a.lo, b.lo), _mm_sub_pd(a.hi, b.hi)};
}
inline f64x4 operator*(f64x4 a, f64x4 b) {
  return {_mm_mul_pd(a.lo, b.lo), _mm_mul_pd(a.hi, b.hi)};
}
inline f64x4 operator/(f64x4 a, f64x4 b) {
  return {_mm_div_pd(a.lo, b.lo), _mm_div_pd(a.hi, b.hi)};
}
inline f64x4 square_root(f64x4 a) { return {_mm_sqrt_pd(a.lo), _mm_sqrt_pd(a.hi)}; }
inline f64x4 widen(f32x4 a) { return {_mm_cvtps_pd(a.v), _mm_cvtps_pd(_mm_movehl_ps(a.v, a.v))}; }
inline f32x4 narrow(f64x4 a) { return {_mm_movelh_ps(_mm_cvtpd_ps(a.lo), _mm_cvtpd_ps(a.hi))}; }

}  // namespace sse2

template <>
inline Columns<sse2::f64x4> load_columns<sse2::f64x4>(const void* base, const size_t* offsets) {
  const __m128d a = _mm_loadu_pd(doubles_at(base, offsets[0]));
  const __m128d b = _mm_loadu_pd(doubles_at(base, offsets[1]));
  const __m128d c = _mm_loadu_pd(doubles_at(base, offsets[2]));
  const __m128d d = _mm_loadu_pd(doubles_at(base, offsets[3]));
  return {{_mm_unpacklo_pd(a, b), _mm_unpacklo_pd(c, d)},
          {_mm_unpackhi_pd(a, b), _mm_unpackhi_pd(c, d)}};
}

#endif

}  // namespace vekbf::simd
