// SPDX-License-Identifier: MIT
//
// Four lanes of the x86 vector unit, with the instructions that every 64-bit processor has.
#pragma once

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

#include "base/complex.h"
#include "base/target.h"
#include "simd/pairs.h"
#include "simd/traits.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace simd {
namespace sse2 {

struct f32x4 {
  static constexpr int kLanes = 4;
  struct Mask {
    __m128 v;
  };

  __m128 v;

  static f32x4 load(const float* p) { return {_mm_loadu_ps(p)}; }
  static f32x4 load_aligned(const float* p) { return {_mm_load_ps(p)}; }
  static f32x4 splat(float x) { return {_mm_set1_ps(x)}; }
  static Pairs<f32x4> load_pairs(const Complex* p);
  static Pairs<f32x4> copy_pairs(Complex* to, const Complex* from);
  void store(float* p) const { _mm_storeu_ps(p, v); }
};

inline f32x4 operator+(f32x4 a, f32x4 b) { return {_mm_add_ps(a.v, b.v)}; }
inline f32x4 operator-(f32x4 a, f32x4 b) { return {_mm_sub_ps(a.v, b.v)}; }
inline f32x4 operator*(f32x4 a, f32x4 b) { return {_mm_mul_ps(a.v, b.v)}; }
inline f32x4 plus_product(f32x4 a, f32x4 b, f32x4 c) { return a + b * c; }
inline f32x4 minus_product(f32x4 a, f32x4 b, f32x4 c) { return a - b * c; }
inline f32x4 operator/(f32x4 a, f32x4 b) { return {_mm_div_ps(a.v, b.v)}; }
inline f32x4::Mask greater(f32x4 a, f32x4 b) { return {_mm_cmpgt_ps(a.v, b.v)}; }
inline f32x4::Mask greater_equal(f32x4 a, f32x4 b) { return {_mm_cmpge_ps(a.v, b.v)}; }
inline f32x4 select(f32x4::Mask mask, f32x4 a, f32x4 b) {
  return {_mm_or_ps(_mm_and_ps(mask.v, a.v), _mm_andnot_ps(mask.v, b.v))};
}

inline bool any(f32x4::Mask mask) { return _mm_movemask_ps(mask.v) != 0; }
inline bool any_nan(f32x4 a) { return _mm_movemask_ps(_mm_cmpunord_ps(a.v, a.v)) != 0; }

inline f32x4 reverse(f32x4 a) { return {_mm_shuffle_ps(a.v, a.v, _MM_SHUFFLE(0, 1, 2, 3))}; }

inline void interleave(f32x4& a, f32x4& b) {
  const __m128 low = _mm_unpacklo_ps(a.v, b.v);
  b.v = _mm_unpackhi_ps(a.v, b.v);
  a.v = low;
}
inline void deinterleave(f32x4& a, f32x4& b) {
  const __m128 even = _mm_shuffle_ps(a.v, b.v, _MM_SHUFFLE(2, 0, 2, 0));
  b.v = _mm_shuffle_ps(a.v, b.v, _MM_SHUFFLE(3, 1, 3, 1));
  a.v = even;
}
inline void interleave(f32x4& a, f32x4& b, f32x4& c, f32x4& d) {
  _MM_TRANSPOSE4_PS(a.v, b.v, c.v, d.v);
}

// The table rule without a table: the entry is 2^18 / (2a + 1) rounded to an integer, a = 256 plus
// the top 8 mantissa bits. 512 / (2a + 1) is correctly rounded by the division, never a tie, and
// adding a number whose unit in the last place is 2^-9 rounds it to the nine bits of the table.
inline f32x4 reciprocal_estimate(f32x4 d) {
  const __m128i bits = _mm_castps_si128(d.v);
  const __m128i odd =
      _mm_or_si128(_mm_and_si128(bits, _mm_set1_epi32(0x007f8000)), _mm_set1_epi32(0x3f804000));
  const __m128 magic = _mm_set1_ps(24576.0f);
  const __m128 quotient = _mm_div_ps(_mm_set1_ps(1.0f), _mm_castsi128_ps(odd));
  const __m128 entry = _mm_sub_ps(_mm_add_ps(quotient, magic), magic);
  const __m128i exponent = _mm_and_si128(bits, _mm_set1_epi32(static_cast<int>(0xff800000u)));
  return {_mm_castsi128_ps(
      _mm_sub_epi32(_mm_add_epi32(_mm_castps_si128(entry), _mm_set1_epi32(0x3f800000)), exponent))};
}

inline f32x4 reciprocal_two_step(f32x4 d) {
  const f32x4 two = f32x4::splat(2.0f);
  f32x4 r = reciprocal_estimate(d);
  r = r * (two - d * r);
  r = r * (two - d * r);
  // The vector unit flushes to a signed zero from 2^126 on; not-a-number is not caught by the
  // compare and stays.
  const __m128 sign = _mm_set1_ps(-0.0f);
  const __m128 huge = _mm_cmpge_ps(_mm_andnot_ps(sign, d.v), _mm_set1_ps(0x1p126f));
  return {_mm_or_ps(_mm_andnot_ps(huge, r.v), _mm_and_ps(huge, _mm_and_ps(sign, d.v)))};
}

inline Pairs<f32x4> f32x4::load_pairs(const Complex* p) {
  Pairs<f32x4> c = {load(&p[0].re), load(&p[2].re)};
  deinterleave(c.re, c.im);
  return c;
}
inline Pairs<f32x4> f32x4::copy_pairs(Complex* to, const Complex* from) {
  Pairs<f32x4> c = {load(&from[0].re), load(&from[2].re)};
  c.re.store(&to[0].re);
  c.im.store(&to[2].re);
  deinterleave(c.re, c.im);
  return c;
}
inline void store_pairs(Complex* p, Pairs<f32x4> c) {
  _mm_storeu_ps(&p[0].re, _mm_unpacklo_ps(c.re.v, c.im.v));
  _mm_storeu_ps(&p[2].re, _mm_unpackhi_ps(c.re.v, c.im.v));
}

inline void add_truncated(int16_t* acc, f32x4 v) {
  // The conversion gives 0x80000000 for everything out of range. Its low 16 bits are right for
  // large negative values and for not-a-number, and one too much for large positive ones.
  const __m128i raw = _mm_cvttps_epi32(v.v);
  const __m128i too_large = _mm_castps_si128(_mm_cmpge_ps(v.v, _mm_set1_ps(0x1p31f)));
  const __m128i whole = _mm_add_epi32(raw, too_large);
  // Only the low 16 bits count: sign-extend them so that the saturating pack keeps them.
  const __m128i low = _mm_srai_epi32(_mm_slli_epi32(whole, 16), 16);
  const __m128i packed = _mm_packs_epi32(low, low);
  const __m128i old = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(acc));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(acc), _mm_add_epi16(old, packed));
}

// Integers.

struct i32x4 {
  __m128i v;
  static i32x4 splat(int32_t x) { return {_mm_set1_epi32(x)}; }
  void store(int32_t* p) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
};

inline i32x4 bits_of(f32x4 a) { return {_mm_castps_si128(a.v)}; }
inline f32x4 float_of_bits(i32x4 a) { return {_mm_castsi128_ps(a.v)}; }
inline i32x4 operator-(i32x4 a, i32x4 b) { return {_mm_sub_epi32(a.v, b.v)}; }
inline i32x4 operator&(i32x4 a, i32x4 b) { return {_mm_and_si128(a.v, b.v)}; }
template <int kBits>
inline i32x4 shifted_left(i32x4 a) {
  return {_mm_slli_epi32(a.v, kBits)};
}
template <int kBits>
inline i32x4 shifted_right(i32x4 a) {
  return {_mm_srli_epi32(a.v, kBits)};
}
inline f32x4 to_float(i32x4 a) { return {_mm_cvtepi32_ps(a.v)}; }
inline void offsets_of(i32x4 a, size_t* out) {
  out[0] = static_cast<size_t>(_mm_extract_epi16(a.v, 0));
  out[1] = static_cast<size_t>(_mm_extract_epi16(a.v, 2));
  out[2] = static_cast<size_t>(_mm_extract_epi16(a.v, 4));
  out[3] = static_cast<size_t>(_mm_extract_epi16(a.v, 6));
}
inline bool same_bits(f32x4 a, f32x4 b) {
  return _mm_movemask_epi8(_mm_cmpeq_epi32(bits_of(a).v, bits_of(b).v)) == 0xffff;
}

// Doubles.

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
  const __m128d a = _mm_loadu_pd(at_offset<double>(base, offsets[0]));
  const __m128d b = _mm_loadu_pd(at_offset<double>(base, offsets[1]));
  const __m128d c = _mm_loadu_pd(at_offset<double>(base, offsets[2]));
  const __m128d d = _mm_loadu_pd(at_offset<double>(base, offsets[3]));
  first = {_mm_unpacklo_pd(a, b), _mm_unpacklo_pd(c, d)};
  second = {_mm_unpackhi_pd(a, b), _mm_unpackhi_pd(c, d)};
}

inline void load_columns(const void* base, const size_t* offsets, f32x4& a, f32x4& b, f32x4& c,
                         f32x4& d) {
  a = f32x4::load(at_offset<float>(base, offsets[0]));
  b = f32x4::load(at_offset<float>(base, offsets[1]));
  c = f32x4::load(at_offset<float>(base, offsets[2]));
  d = f32x4::load(at_offset<float>(base, offsets[3]));
  interleave(a, b, c, d);
}

}  // namespace sse2

template <>
inline constexpr bool kSubnormalsAreSlow<sse2::f32x4> = true;

}  // namespace simd
}  // namespace VEKBF_TARGET
}  // namespace vekbf
