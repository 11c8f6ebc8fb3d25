// SPDX-License-Identifier: MIT
//
// Two doubles, for the few kernels that need the precision: the same arrangement as f32x4.h. The
// 32-bit ARM vector unit has no doubles, so its scalar unit runs the portable text.
//
//   D::splat(x), a + b, a - b, a * b
//   rounded_to_float(a)               each lane rounded to single precision and back
//   low_bits(a, lane)                 the low 32 bits of a lane's representation
//   load_columns<D>(p, q, first, second)   first = (p[0], q[0]), second = (p[1], q[1])
//   store_pairs(out, re, im)          two complex values, rounded to single precision
#pragma once

#include <bit>
#include <cstdint>

#include "base/complex.h"

#if defined(__SSE2__) && !defined(VEKBF_PORTABLE)
#include <emmintrin.h>
#endif

namespace vekbf::simd {

template <class D>
struct Columns {
  D first;
  D second;
};

namespace portable {

struct f64x2 {
  double v[2];
  static f64x2 splat(double x) { return {{x, x}}; }
  static f64x2 of(double a, double b) { return {{a, b}}; }
};

inline f64x2 operator+(f64x2 a, f64x2 b) { return {{a.v[0] + b.v[0], a.v[1] + b.v[1]}}; }
inline f64x2 operator-(f64x2 a, f64x2 b) { return {{a.v[0] - b.v[0], a.v[1] - b.v[1]}}; }
inline f64x2 operator*(f64x2 a, f64x2 b) { return {{a.v[0] * b.v[0], a.v[1] * b.v[1]}}; }
inline f64x2 rounded_to_float(f64x2 a) {
  return {{static_cast<double>(static_cast<float>(a.v[0])),
           static_cast<double>(static_cast<float>(a.v[1]))}};
}
inline uint32_t low_bits(f64x2 a, int lane) {
  return static_cast<uint32_t>(std::bit_cast<uint64_t>(a.v[lane]));
}
inline Columns<f64x2> load_columns(f64x2, const double* p, const double* q) {
  return {{{p[0], q[0]}}, {{p[1], q[1]}}};
}
inline void store_pairs(Complex* out, f64x2 re, f64x2 im) {
  out[0] = {static_cast<float>(re.v[0]), static_cast<float>(im.v[0])};
  out[1] = {static_cast<float>(re.v[1]), static_cast<float>(im.v[1])};
}

}  // namespace portable

#if defined(__SSE2__) && !defined(VEKBF_PORTABLE)

namespace sse2 {

struct f64x2 {
  __m128d v;
  static f64x2 splat(double x) { return {_mm_set1_pd(x)}; }
  static f64x2 of(double a, double b) { return {_mm_setr_pd(a, b)}; }
};

inline f64x2 operator+(f64x2 a, f64x2 b) { return {_mm_add_pd(a.v, b.v)}; }
inline f64x2 operator-(f64x2 a, f64x2 b) { return {_mm_sub_pd(a.v, b.v)}; }
inline f64x2 operator*(f64x2 a, f64x2 b) { return {_mm_mul_pd(a.v, b.v)}; }
inline f64x2 rounded_to_float(f64x2 a) { return {_mm_cvtps_pd(_mm_cvtpd_ps(a.v))}; }
inline uint32_t low_bits(f64x2 a, int lane) {
  const __m128i bits = _mm_castpd_si128(a.v);
  return static_cast<uint32_t>(
      _mm_cvtsi128_si32(lane == 0 ? bits : _mm_unpackhi_epi64(bits, bits)));
}
inline Columns<f64x2> load_columns(f64x2, const double* p, const double* q) {
  const __m128d a = _mm_loadu_pd(p);
  const __m128d b = _mm_loadu_pd(q);
  return {{_mm_unpacklo_pd(a, b)}, {_mm_unpackhi_pd(a, b)}};
}
inline void store_pairs(Complex* out, f64x2 re, f64x2 im) {
  _mm_storeu_ps(&out[0].re, _mm_unpacklo_ps(_mm_cvtpd_ps(re.v), _mm_cvtpd_ps(im.v)));
}

}  // namespace sse2

using f64x2 = sse2::f64x2;

#else

using f64x2 = portable::f64x2;

#endif

}  // namespace vekbf::simd
