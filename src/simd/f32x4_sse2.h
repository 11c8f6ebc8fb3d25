// SPDX-License-Identifier: MIT
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "simd/f32x1.h"

namespace vekbf::simd {
namespace sse2 {

struct f32x4 {
  static constexpr int kLanes = 4;
  struct Mask {
    __m128 v;
  };

  __m128 v;

  static f32x4 load(const float* p) { return {_mm_loadu_ps(p)}; }
  static f32x4 splat(float x) { return {_mm_set1_ps(x)}; }
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

inline bool any_nan(f32x4 a) { return _mm_movemask_ps(_mm_cmpunord_ps(a.v, a.v)) != 0; }

inline f32x4 reverse(f32x4 a) { return {_mm_shuffle_ps(a.v, a.v, _MM_SHUFFLE(0, 1, 2, 3))}; }

// a0 b0 a1 b1 and a2 b2 a3 b3.
inline void interleave(f32x4& a, f32x4& b) {
  const __m128 low = _mm_unpacklo_ps(a.v, b.v);
  b.v = _mm_unpackhi_ps(a.v, b.v);
  a.v = low;
}

// a0 a2 b0 b2 and a1 a3 b1 b3: undoes interleave.
inline void deinterleave(f32x4& a, f32x4& b) {
  const __m128 even = _mm_shuffle_ps(a.v, b.v, _MM_SHUFFLE(2, 0, 2, 0));
  b.v = _mm_shuffle_ps(a.v, b.v, _MM_SHUFFLE(3, 1, 3, 1));
  a.v = even;
}

// Rows become columns.
inline void transpose(f32x4& a, f32x4& b, f32x4& c, f32x4& d) {
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

}  // namespace sse2

template <>
inline Pairs<sse2::f32x4> load_pairs<sse2::f32x4>(const Complex* p) {
  Pairs<sse2::f32x4> c = {sse2::f32x4::load(&p[0].re), sse2::f32x4::load(&p[2].re)};
  deinterleave(c.re, c.im);
  return c;
}
template <>
inline Pairs<sse2::f32x4> copy_pairs<sse2::f32x4>(Complex* to, const Complex* from) {
  Pairs<sse2::f32x4> c = {sse2::f32x4::load(&from[0].re), sse2::f32x4::load(&from[2].re)};
  c.re.store(&to[0].re);
  c.im.store(&to[2].re);
  deinterleave(c.re, c.im);
  return c;
}

}  // namespace vekbf::simd
