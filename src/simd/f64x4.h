// SPDX-License-Identifier: MIT
//
// Four doubles beside the four floats of f32x4.h (and one beside f32x1), for kernels that need the
// precision on the way:
//   widen(v), narrow(w)              conversions, the latter rounded
//   narrow_small(w)                  the same, where many results are subnormal
//   a + b, a - b, a * b, a / b, square_root(a), W::splat(x)
//   load_columns(base, offsets, first, second)   lane i: the two doubles at base + offsets[i]
// On 32-bit ARM, whose vector unit has no doubles, the scalar unit does them. Local variables of
// these types are deliberately not const: gcc 12 does not take a constant record apart, and leaves
// it in memory.
#pragma once

#include <cmath>
#include <cstddef>

#include "simd/f32x4.h"

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
inline f32x1 narrow_small(f64x1 a) { return narrow(a); }

inline const double* doubles_at(const void* base, size_t offset) {
  return reinterpret_cast<const double*>(static_cast<const char*>(base) + offset);
}

inline void load_columns(const void* base, const size_t* offsets, f64x1& first, f64x1& second) {
  const double* row = doubles_at(base, offsets[0]);
  first = {row[0]};
  second = {row[1]};
}

// Whether narrow_small is faster than narrow where it is meant for.
template <class V>
inline constexpr bool kSubnormalsAreSlow = false;

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

inline f32x4 narrow_small(f64x4 a) { return narrow(a); }
inline void load_columns(const void* base, const size_t* offsets, f64x4& first, f64x4& second) {
  first = each_double([&](int i) { return doubles_at(base, offsets[i])[0]; });
  second = each_double([&](int i) { return doubles_at(base, offsets[i])[1]; });
}

}  // namespace portable

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

inline f32x4 narrow_small(f64x4 a) { return narrow(a); }
inline void load_columns(const void* base, const size_t* offsets, f64x4& first, f64x4& second) {
  const float64x2_t a = vld1q_f64(doubles_at(base, offsets[0]));
  const float64x2_t b = vld1q_f64(doubles_at(base, offsets[1]));
  const float64x2_t c = vld1q_f64(doubles_at(base, offsets[2]));
  const float64x2_t d = vld1q_f64(doubles_at(base, offsets[3]));
  first = {vzip1q_f64(a, b), vzip1q_f64(c, d)};
  second = {vzip2q_f64(a, b), vzip2q_f64(c, d)};
}

}  // namespace neon

#elif !defined(VEKBF_PORTABLE) && defined(__ARM_NEON)

namespace neon {

// The scalar unit's doubles. Four members, not an array: the compiler keeps them in registers.
struct f64x4 {
  static constexpr int kLanes = 4;
  double a, b, c, d;
  [[gnu::always_inline]] static f64x4 splat(double x) { return {x, x, x, x}; }
};

[[gnu::always_inline]] inline f64x4 operator+(f64x4 x, f64x4 y) {
  return {x.a + y.a, x.b + y.b, x.c + y.c, x.d + y.d};
}
[[gnu::always_inline]] inline f64x4 operator-(f64x4 x, f64x4 y) {
  return {x.a - y.a, x.b - y.b, x.c - y.c, x.d - y.d};
}
[[gnu::always_inline]] inline f64x4 operator*(f64x4 x, f64x4 y) {
  return {x.a * y.a, x.b * y.b, x.c * y.c, x.d * y.d};
}
[[gnu::always_inline]] inline f64x4 operator/(f64x4 x, f64x4 y) {
  return {x.a / y.a, x.b / y.b, x.c / y.c, x.d / y.d};
}
[[gnu::always_inline]] inline f64x4 square_root(f64x4 x) {
  return {std::sqrt(x.a), std::sqrt(x.b), std::sqrt(x.c), std::sqrt(x.d)};
}

// The compiler goes through memory or core registers between the two units; the scalar unit reads
// and writes the first vector registers directly.
[[gnu::always_inline]] inline f64x4 widen(f32x4 x) {
#if defined(__clang__)
  float v[4];
  x.store(v);
  return {double{v[0]}, double{v[1]}, double{v[2]}, double{v[3]}};
#else
  f64x4 w;
  __asm__("vcvt.f64.f32 %P0, %2\n\tvcvt.f64.f32 %P1, %p2"
          : "=&w"(w.a), "=&w"(w.b)
          : "t"(vget_low_f32(x.v)));
  __asm__("vcvt.f64.f32 %P0, %2\n\tvcvt.f64.f32 %P1, %p2"
          : "=&w"(w.c), "=&w"(w.d)
          : "t"(vget_high_f32(x.v)));
  return w;
#endif
}
[[gnu::always_inline]] inline f32x4 narrow(f64x4 w) {
#if defined(__clang__)
  const float v[4] = {static_cast<float>(w.a), static_cast<float>(w.b), static_cast<float>(w.c),
                      static_cast<float>(w.d)};
  return f32x4::load(v);
#else
  register float32x4_t to __asm__("q0");
  __asm__(
      "vcvt.f32.f64 s0, %P1\n\t"
      "vcvt.f32.f64 s1, %P2\n\t"
      "vcvt.f32.f64 s2, %P3\n\t"
      "vcvt.f32.f64 s3, %P4"
      : "=&w"(to)
      : "w"(w.a), "w"(w.b), "w"(w.c), "w"(w.d));
  return {to};
#endif
}

[[gnu::always_inline]] inline f32x4 narrow_small(f64x4 w) { return narrow(w); }
[[gnu::always_inline]] inline void load_columns(const void* base, const size_t* offsets,
                                                f64x4& first, f64x4& second) {
  const double* a = doubles_at(base, offsets[0]);
  const double* b = doubles_at(base, offsets[1]);
  const double* c = doubles_at(base, offsets[2]);
  const double* d = doubles_at(base, offsets[3]);
  first = {a[0], b[0], c[0], d[0]};
  second = {a[1], b[1], c[1], d[1]};
}

}  // namespace neon

#elif !defined(VEKBF_PORTABLE) && defined(__SSE2__)

namespace sse2 {

inline bool any(f32x4::Mask mask) { return _mm_movemask_ps(mask.v) != 0; }

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

// A conversion with a subnormal result takes these processors more than a hundred cycles. Adding
// 2^52 rounds the same way at the unit of the subnormals, and leaves their representation in the
// low half of the sum.
inline f32x4 narrow_small(f64x4 a) {
  const __m128d sign = _mm_set1_pd(-0.0);
  const __m128d lo = _mm_andnot_pd(sign, a.lo);
  const __m128d hi = _mm_andnot_pd(sign, a.hi);
  const __m128d lowest_normal = _mm_set1_pd(0x1p-126);
  const __m128d lo_small = _mm_cmplt_pd(lo, lowest_normal);
  const __m128d hi_small = _mm_cmplt_pd(hi, lowest_normal);
  const f32x4 normal = narrow({_mm_andnot_pd(lo_small, a.lo), _mm_andnot_pd(hi_small, a.hi)});

  const __m128d scale = _mm_set1_pd(0x1p149);
  const __m128d round = _mm_set1_pd(0x1p52);
  const __m128 lo_sum = _mm_castpd_ps(_mm_add_pd(_mm_mul_pd(lo, scale), round));
  const __m128 hi_sum = _mm_castpd_ps(_mm_add_pd(_mm_mul_pd(hi, scale), round));
  const __m128 digits = _mm_shuffle_ps(lo_sum, hi_sum, _MM_SHUFFLE(2, 0, 2, 0));
  const __m128 tops =
      _mm_shuffle_ps(_mm_castpd_ps(a.lo), _mm_castpd_ps(a.hi), _MM_SHUFFLE(3, 1, 3, 1));
  const __m128 small =
      _mm_shuffle_ps(_mm_castpd_ps(lo_small), _mm_castpd_ps(hi_small), _MM_SHUFFLE(2, 0, 2, 0));
  const __m128 subnormal = _mm_or_ps(digits, _mm_and_ps(tops, _mm_set1_ps(-0.0f)));
  return {_mm_or_ps(normal.v, _mm_and_ps(small, subnormal))};
}
inline void load_columns(const void* base, const size_t* offsets, f64x4& first, f64x4& second) {
  const __m128d a = _mm_loadu_pd(doubles_at(base, offsets[0]));
  const __m128d b = _mm_loadu_pd(doubles_at(base, offsets[1]));
  const __m128d c = _mm_loadu_pd(doubles_at(base, offsets[2]));
  const __m128d d = _mm_loadu_pd(doubles_at(base, offsets[3]));
  first = {_mm_unpacklo_pd(a, b), _mm_unpacklo_pd(c, d)};
  second = {_mm_unpackhi_pd(a, b), _mm_unpackhi_pd(c, d)};
}

}  // namespace sse2

template <>
inline constexpr bool kSubnormalsAreSlow<sse2::f32x4> = true;

#endif

}  // namespace vekbf::simd
