// SPDX-License-Identifier: MIT
//
// Eight lanes of the x86 vector unit, with the instructions of AVX2. No fused multiply-add, which a
// processor with AVX2 has as well: it would not round the product. Four lanes are those of sse2.h.
//
// Most moves of AVX work within halves of 128 bits. Where an operation needs values of both halves
// in order, they are loaded or stored half by half: an insertion from memory and an extraction to
// memory take no cross-lane unit.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "base/complex.h"
#include "base/target.h"
#include "simd/pairs.h"
#include "simd/traits.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace simd {
namespace avx2 {

// Halves of 128 bits, as selected by _mm256_permute2f128_ps.
inline constexpr int kLowHalves = 0x20;
inline constexpr int kHighHalves = 0x31;

struct f32x8 {
  static constexpr int kLanes = 8;
  struct Mask {
    __m256 v;
  };

  __m256 v;

  static f32x8 load(const float* p) { return {_mm256_loadu_ps(p)}; }
  static f32x8 splat(float x) { return {_mm256_set1_ps(x)}; }
  static Pairs<f32x8> load_pairs(const Complex* p);
  static Pairs<f32x8> copy_pairs(Complex* to, const Complex* from);
  static Pairs<f32x8> load_repeated_four(const Complex* p);
  // The order of bins is 0 1 4 5 2 3 6 7.
  static Pairs<f32x8> load_bins(const Complex* p);
  static Pairs<f32x8> copy_bins(Complex* to, const Complex* from);
  static void store_bins(Complex* p, Pairs<f32x8> c);
  static f32x8 in_order_of_bins(f32x8 a);  // from that of memory, and back
  void store(float* p) const { _mm256_storeu_ps(p, v); }
};

// Four floats each from two places.
inline __m256 load_halves(const float* low, const float* high) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(low)), _mm_loadu_ps(high), 1);
}
inline void store_halves(float* low, float* high, __m256 v) {
  _mm_storeu_ps(low, _mm256_castps256_ps128(v));
  _mm_storeu_ps(high, _mm256_extractf128_ps(v, 1));
}

inline f32x8 operator+(f32x8 a, f32x8 b) { return {_mm256_add_ps(a.v, b.v)}; }
inline f32x8 operator-(f32x8 a, f32x8 b) { return {_mm256_sub_ps(a.v, b.v)}; }
inline f32x8 operator*(f32x8 a, f32x8 b) { return {_mm256_mul_ps(a.v, b.v)}; }
inline f32x8 plus_product(f32x8 a, f32x8 b, f32x8 c) { return a + b * c; }
inline f32x8 minus_product(f32x8 a, f32x8 b, f32x8 c) { return a - b * c; }
inline f32x8 operator/(f32x8 a, f32x8 b) { return {_mm256_div_ps(a.v, b.v)}; }
inline f32x8::Mask greater(f32x8 a, f32x8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_GT_OQ)}; }
inline f32x8::Mask greater_equal(f32x8 a, f32x8 b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_GE_OQ)}; }
inline f32x8 select(f32x8::Mask mask, f32x8 a, f32x8 b) {
  return {_mm256_blendv_ps(b.v, a.v, mask.v)};
}

inline bool any(f32x8::Mask mask) { return _mm256_movemask_ps(mask.v) != 0; }
inline bool any_nan(f32x8 a) {
  return _mm256_movemask_ps(_mm256_cmp_ps(a.v, a.v, _CMP_UNORD_Q)) != 0;
}

inline f32x8 reverse(f32x8 a) {
  return {_mm256_permutevar8x32_ps(a.v, _mm256_set_epi32(0, 1, 2, 3, 4, 5, 6, 7))};
}

// Two vectors from the low and the high halves of two.
inline void order_halves(__m256& a, __m256& b) {
  const __m256 low = _mm256_permute2f128_ps(a, b, kLowHalves);
  b = _mm256_permute2f128_ps(a, b, kHighHalves);
  a = low;
}

template <int kBlock = 1>
inline void interleave(f32x8& a, f32x8& b) {
  static_assert(kBlock == 1 || kBlock == 4);
  if constexpr (kBlock == 1) {
    const __m256 low = _mm256_unpacklo_ps(a.v, b.v);
    b.v = _mm256_unpackhi_ps(a.v, b.v);
    a.v = low;
  }
  order_halves(a.v, b.v);
}
inline void deinterleave(f32x8& a, f32x8& b) {
  order_halves(a.v, b.v);
  const __m256 even = _mm256_shuffle_ps(a.v, b.v, _MM_SHUFFLE(2, 0, 2, 0));
  b.v = _mm256_shuffle_ps(a.v, b.v, _MM_SHUFFLE(3, 1, 3, 1));
  a.v = even;
}

// Rows and columns of 4 x 4 values exchanged, in either half.
inline void transpose_halves(f32x8& a, f32x8& b, f32x8& c, f32x8& d) {
  const __m256 ab_low = _mm256_unpacklo_ps(a.v, b.v);
  const __m256 ab_high = _mm256_unpackhi_ps(a.v, b.v);
  const __m256 cd_low = _mm256_unpacklo_ps(c.v, d.v);
  const __m256 cd_high = _mm256_unpackhi_ps(c.v, d.v);
  a.v = _mm256_shuffle_ps(ab_low, cd_low, _MM_SHUFFLE(1, 0, 1, 0));
  b.v = _mm256_shuffle_ps(ab_low, cd_low, _MM_SHUFFLE(3, 2, 3, 2));
  c.v = _mm256_shuffle_ps(ab_high, cd_high, _MM_SHUFFLE(1, 0, 1, 0));
  d.v = _mm256_shuffle_ps(ab_high, cd_high, _MM_SHUFFLE(3, 2, 3, 2));
}

template <int kBlock = 1>
inline void interleave(f32x8& a, f32x8& b, f32x8& c, f32x8& d) {
  static_assert(kBlock == 1 || kBlock == 4);
  if constexpr (kBlock == 1) transpose_halves(a, b, c, d);
  order_halves(a.v, b.v);
  order_halves(c.v, d.v);
  const __m256 second = c.v;
  c.v = b.v;
  b.v = second;
}

// The table rule without a table, as in sse2.h.
inline f32x8 reciprocal_estimate(f32x8 d) {
  const __m256i bits = _mm256_castps_si256(d.v);
  const __m256i odd = _mm256_or_si256(_mm256_and_si256(bits, _mm256_set1_epi32(0x007f8000)),
                                      _mm256_set1_epi32(0x3f804000));
  const __m256 magic = _mm256_set1_ps(24576.0f);
  const __m256 quotient = _mm256_div_ps(_mm256_set1_ps(1.0f), _mm256_castsi256_ps(odd));
  const __m256 entry = _mm256_sub_ps(_mm256_add_ps(quotient, magic), magic);
  const __m256i exponent = _mm256_and_si256(bits, _mm256_set1_epi32(static_cast<int>(0xff800000u)));
  return {_mm256_castsi256_ps(_mm256_sub_epi32(
      _mm256_add_epi32(_mm256_castps_si256(entry), _mm256_set1_epi32(0x3f800000)), exponent))};
}

inline f32x8 reciprocal_two_step(f32x8 d) {
  const f32x8 two = f32x8::splat(2.0f);
  f32x8 r = reciprocal_estimate(d);
  r = r * (two - d * r);
  r = r * (two - d * r);
  // From 2^126 on a signed zero; not-a-number is not caught by the compare and stays.
  const __m256 sign = _mm256_set1_ps(-0.0f);
  const __m256 huge =
      _mm256_cmp_ps(_mm256_andnot_ps(sign, d.v), _mm256_set1_ps(0x1p126f), _CMP_GE_OQ);
  return {_mm256_blendv_ps(r.v, _mm256_and_ps(sign, d.v), huge)};
}

// Real and imaginary parts of the values 0 1 4 5 and 2 3 6 7, in order.
inline Pairs<f32x8> split_pairs(__m256 a, __m256 b) {
  return {{_mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0))},
          {_mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))}};
}
inline Pairs<f32x8> f32x8::load_pairs(const Complex* p) {
  return split_pairs(load_halves(&p[0].re, &p[4].re), load_halves(&p[2].re, &p[6].re));
}
inline Pairs<f32x8> f32x8::load_repeated_four(const Complex* p) {
  const __m128 low = _mm_loadu_ps(&p[0].re);
  const __m128 high = _mm_loadu_ps(&p[2].re);
  return split_pairs(_mm256_set_m128(low, low), _mm256_set_m128(high, high));
}
inline Pairs<f32x8> f32x8::copy_pairs(Complex* to, const Complex* from) {
  const __m256 a = load_halves(&from[0].re, &from[4].re);
  const __m256 b = load_halves(&from[2].re, &from[6].re);
  store_halves(&to[0].re, &to[4].re, a);
  store_halves(&to[2].re, &to[6].re, b);
  return split_pairs(a, b);
}
inline void store_pairs(Complex* p, Pairs<f32x8> c) {
  store_halves(&p[0].re, &p[4].re, _mm256_unpacklo_ps(c.re.v, c.im.v));
  store_halves(&p[2].re, &p[6].re, _mm256_unpackhi_ps(c.re.v, c.im.v));
}

inline Pairs<f32x8> f32x8::load_bins(const Complex* p) {
  return split_pairs(_mm256_loadu_ps(&p[0].re), _mm256_loadu_ps(&p[4].re));
}
inline Pairs<f32x8> f32x8::copy_bins(Complex* to, const Complex* from) {
  const __m256 a = _mm256_loadu_ps(&from[0].re);
  const __m256 b = _mm256_loadu_ps(&from[4].re);
  _mm256_storeu_ps(&to[0].re, a);
  _mm256_storeu_ps(&to[4].re, b);
  return split_pairs(a, b);
}
inline void f32x8::store_bins(Complex* p, Pairs<f32x8> c) {
  _mm256_storeu_ps(&p[0].re, _mm256_unpacklo_ps(c.re.v, c.im.v));
  _mm256_storeu_ps(&p[4].re, _mm256_unpackhi_ps(c.re.v, c.im.v));
}
inline f32x8 f32x8::in_order_of_bins(f32x8 a) {
  return {_mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(a.v), _MM_SHUFFLE(3, 1, 2, 0)))};
}

inline void add_truncated(int16_t* acc, f32x8 v) {
  // As in sse2.h: one too much for large positive values, and the low 16 bits count.
  const __m256i raw = _mm256_cvttps_epi32(v.v);
  const __m256i too_large =
      _mm256_castps_si256(_mm256_cmp_ps(v.v, _mm256_set1_ps(0x1p31f), _CMP_GE_OQ));
  const __m256i whole = _mm256_add_epi32(raw, too_large);
  const __m256i low = _mm256_srai_epi32(_mm256_slli_epi32(whole, 16), 16);
  const __m128i packed =
      _mm_packs_epi32(_mm256_castsi256_si128(low), _mm256_extracti128_si256(low, 1));
  const __m128i old = _mm_loadu_si128(reinterpret_cast<const __m128i*>(acc));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(acc), _mm_add_epi16(old, packed));
}

// Integers.

struct i32x8 {
  __m256i v;
  static i32x8 splat(int32_t x) { return {_mm256_set1_epi32(x)}; }
  void store(int32_t* p) const { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }
};

inline i32x8 bits_of(f32x8 a) { return {_mm256_castps_si256(a.v)}; }
inline f32x8 float_of_bits(i32x8 a) { return {_mm256_castsi256_ps(a.v)}; }
inline i32x8 operator-(i32x8 a, i32x8 b) { return {_mm256_sub_epi32(a.v, b.v)}; }
inline i32x8 operator&(i32x8 a, i32x8 b) { return {_mm256_and_si256(a.v, b.v)}; }
template <int kBits>
inline i32x8 shifted_left(i32x8 a) {
  return {_mm256_slli_epi32(a.v, kBits)};
}
template <int kBits>
inline i32x8 shifted_right(i32x8 a) {
  return {_mm256_srli_epi32(a.v, kBits)};
}
inline f32x8 to_float(i32x8 a) { return {_mm256_cvtepi32_ps(a.v)}; }
inline void offsets_of(i32x8 a, size_t* out) {
  const __m128i low = _mm256_castsi256_si128(a.v);
  const __m128i high = _mm256_extracti128_si256(a.v, 1);
  const int64_t pairs[4] = {_mm_cvtsi128_si64(low), _mm_extract_epi64(low, 1),
                            _mm_cvtsi128_si64(high), _mm_extract_epi64(high, 1)};
  for (int i = 0; i < 4; ++i) {
    out[2 * i] = static_cast<uint16_t>(pairs[i]);
    out[2 * i + 1] = static_cast<uint16_t>(pairs[i] >> 32);
  }
}
inline bool same_bits(f32x8 a, f32x8 b) {
  return _mm256_movemask_epi8(_mm256_cmpeq_epi32(bits_of(a).v, bits_of(b).v)) == -1;
}

// Doubles.

struct f64x8 {
  static constexpr int kLanes = 8;
  __m256d lo, hi;
  static f64x8 splat(double x) { return {_mm256_set1_pd(x), _mm256_set1_pd(x)}; }
};

inline f64x8 operator+(f64x8 a, f64x8 b) {
  return {_mm256_add_pd(a.lo, b.lo), _mm256_add_pd(a.hi, b.hi)};
}
inline f64x8 operator-(f64x8 a, f64x8 b) {
  return {_mm256_sub_pd(a.lo, b.lo), _mm256_sub_pd(a.hi, b.hi)};
}
inline f64x8 operator*(f64x8 a, f64x8 b) {
  return {_mm256_mul_pd(a.lo, b.lo), _mm256_mul_pd(a.hi, b.hi)};
}
inline f64x8 operator/(f64x8 a, f64x8 b) {
  return {_mm256_div_pd(a.lo, b.lo), _mm256_div_pd(a.hi, b.hi)};
}
inline f64x8 square_root(f64x8 a) { return {_mm256_sqrt_pd(a.lo), _mm256_sqrt_pd(a.hi)}; }
inline f64x8 widen(f32x8 a) {
  return {_mm256_cvtps_pd(_mm256_castps256_ps128(a.v)),
          _mm256_cvtps_pd(_mm256_extractf128_ps(a.v, 1))};
}
inline f32x8 narrow(f64x8 a) {
  return {_mm256_insertf128_ps(_mm256_castps128_ps256(_mm256_cvtpd_ps(a.lo)), _mm256_cvtpd_ps(a.hi),
                               1)};
}

// One float of each double of two vectors, the first or the second of its two, in order.
template <int kWhich>
inline __m256 halves_of(__m256d lo, __m256d hi) {
  const __m256 mixed = _mm256_shuffle_ps(_mm256_castpd_ps(lo), _mm256_castpd_ps(hi),
                                         _MM_SHUFFLE(2 + kWhich, kWhich, 2 + kWhich, kWhich));
  return _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(mixed), _MM_SHUFFLE(3, 1, 2, 0)));
}

// As in sse2.h: results that are subnormal by an addition of 2^52.
inline f32x8 narrow_small(f64x8 a) {
  const __m256d sign = _mm256_set1_pd(-0.0);
  const __m256d lo = _mm256_andnot_pd(sign, a.lo);
  const __m256d hi = _mm256_andnot_pd(sign, a.hi);
  const __m256d lowest_normal = _mm256_set1_pd(0x1p-126);
  const __m256d lo_small = _mm256_cmp_pd(lo, lowest_normal, _CMP_LT_OQ);
  const __m256d hi_small = _mm256_cmp_pd(hi, lowest_normal, _CMP_LT_OQ);
  const f32x8 normal = narrow({_mm256_andnot_pd(lo_small, a.lo), _mm256_andnot_pd(hi_small, a.hi)});

  const __m256d scale = _mm256_set1_pd(0x1p149);
  const __m256d round = _mm256_set1_pd(0x1p52);
  const __m256 digits = halves_of<0>(_mm256_add_pd(_mm256_mul_pd(lo, scale), round),
                                     _mm256_add_pd(_mm256_mul_pd(hi, scale), round));
  const __m256 tops = halves_of<1>(a.lo, a.hi);
  const __m256 small = halves_of<0>(lo_small, hi_small);
  const __m256 subnormal = _mm256_or_ps(digits, _mm256_and_ps(tops, _mm256_set1_ps(-0.0f)));
  return {_mm256_or_ps(normal.v, _mm256_and_ps(small, subnormal))};
}

// Two doubles each from two places.
inline __m256d load_halves(const double* low, const double* high) {
  return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(low)), _mm_loadu_pd(high), 1);
}
inline void load_columns(const void* base, const size_t* offsets, f64x8& first, f64x8& second) {
  const auto rows = [&](int low, int high) {
    return load_halves(at_offset<double>(base, offsets[low]),
                       at_offset<double>(base, offsets[high]));
  };
  const __m256d a = rows(0, 2);
  const __m256d b = rows(1, 3);
  const __m256d c = rows(4, 6);
  const __m256d d = rows(5, 7);
  first = {_mm256_unpacklo_pd(a, b), _mm256_unpacklo_pd(c, d)};
  second = {_mm256_unpackhi_pd(a, b), _mm256_unpackhi_pd(c, d)};
}

inline void load_columns(const void* base, const size_t* offsets, f32x8& a, f32x8& b, f32x8& c,
                         f32x8& d) {
  const auto rows = [&](int low, int high) -> f32x8 {
    return {
        load_halves(at_offset<float>(base, offsets[low]), at_offset<float>(base, offsets[high]))};
  };
  a = rows(0, 4);
  b = rows(1, 5);
  c = rows(2, 6);
  d = rows(3, 7);
  transpose_halves(a, b, c, d);
}

}  // namespace avx2

template <>
inline constexpr bool kSubnormalsAreSlow<avx2::f32x8> = true;

}  // namespace simd
}  // namespace VEKBF_TARGET
}  // namespace vekbf
