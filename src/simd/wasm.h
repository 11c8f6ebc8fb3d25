// SPDX-License-Identifier: MIT
//
// Four lanes of WebAssembly's 128-bit vectors (-msimd128). Every operation is the IEEE one, in one
// mode. The relaxed vectors, which have fused products, are not used.
#pragma once

#include <wasm_simd128.h>

#include <cstddef>
#include <cstdint>

#include "base/complex.h"
#include "base/target.h"
#include "simd/pairs.h"
#include "simd/traits.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace simd {
namespace wasm {

struct f32x4 {
  static constexpr int kLanes = 4;
  struct Mask {
    v128_t v;
  };

  v128_t v;

  static f32x4 load(const float* p) { return {wasm_v128_load(p)}; }
  static f32x4 splat(float x) { return {wasm_f32x4_splat(x)}; }
  static Pairs<f32x4> load_pairs(const Complex* p);
  static Pairs<f32x4> copy_pairs(Complex* to, const Complex* from);
  void store(float* p) const { wasm_v128_store(p, v); }
};

inline f32x4 operator+(f32x4 a, f32x4 b) { return {wasm_f32x4_add(a.v, b.v)}; }
inline f32x4 operator-(f32x4 a, f32x4 b) { return {wasm_f32x4_sub(a.v, b.v)}; }
inline f32x4 operator*(f32x4 a, f32x4 b) { return {wasm_f32x4_mul(a.v, b.v)}; }
inline f32x4 operator/(f32x4 a, f32x4 b) { return {wasm_f32x4_div(a.v, b.v)}; }
inline f32x4 plus_product(f32x4 a, f32x4 b, f32x4 c) { return a + b * c; }
inline f32x4 minus_product(f32x4 a, f32x4 b, f32x4 c) { return a - b * c; }
inline f32x4::Mask greater(f32x4 a, f32x4 b) { return {wasm_f32x4_gt(a.v, b.v)}; }
inline f32x4::Mask greater_equal(f32x4 a, f32x4 b) { return {wasm_f32x4_ge(a.v, b.v)}; }
inline f32x4 select(f32x4::Mask mask, f32x4 a, f32x4 b) {
  return {wasm_v128_bitselect(a.v, b.v, mask.v)};
}

inline bool any(f32x4::Mask mask) { return wasm_v128_any_true(mask.v); }
inline bool any_nan(f32x4 a) { return wasm_v128_any_true(wasm_f32x4_ne(a.v, a.v)); }

inline f32x4 reverse(f32x4 a) { return {wasm_i32x4_shuffle(a.v, a.v, 3, 2, 1, 0)}; }

inline void interleave(f32x4& a, f32x4& b) {
  const v128_t low = wasm_i32x4_shuffle(a.v, b.v, 0, 4, 1, 5);
  b.v = wasm_i32x4_shuffle(a.v, b.v, 2, 6, 3, 7);
  a.v = low;
}
inline void deinterleave(f32x4& a, f32x4& b) {
  const v128_t even = wasm_i32x4_shuffle(a.v, b.v, 0, 2, 4, 6);
  b.v = wasm_i32x4_shuffle(a.v, b.v, 1, 3, 5, 7);
  a.v = even;
}
inline void interleave(f32x4& a, f32x4& b, f32x4& c, f32x4& d) {
  interleave(a, c);
  interleave(b, d);
  interleave(a, b);
  interleave(c, d);
  // Now a, b, c, d are the columns 0, 1, 2, 3.
}

// The table rule without a table, as in sse2.h.
inline f32x4 reciprocal_estimate(f32x4 d) {
  const v128_t significand = wasm_v128_and(d.v, wasm_i32x4_const_splat(0x007f8000));
  const v128_t odd = wasm_v128_or(significand, wasm_i32x4_const_splat(0x3f804000));
  const f32x4 magic = f32x4::splat(24576.0f);
  const f32x4 entry = f32x4::splat(1.0f) / f32x4{odd} + magic - magic;
  const v128_t scaled = wasm_i32x4_add(entry.v, wasm_i32x4_const_splat(0x3f800000));
  const v128_t exponent = wasm_v128_and(d.v, wasm_i32x4_const_splat(INT32_MIN | 0x7f800000));
  return {wasm_i32x4_sub(scaled, exponent)};
}

inline f32x4 reciprocal_two_step(f32x4 d) {
  const f32x4 two = f32x4::splat(2.0f);
  f32x4 r = reciprocal_estimate(d);
  r = r * (two - d * r);
  r = r * (two - d * r);
  // The ARM vector unit flushes to a signed zero from 2^126 on; not-a-number is not caught by the
  // compare and stays.
  const v128_t zero = wasm_v128_and(d.v, wasm_f32x4_const_splat(-0.0f));
  const v128_t huge = wasm_f32x4_ge(wasm_f32x4_abs(d.v), wasm_f32x4_const_splat(0x1p126f));
  return {wasm_v128_bitselect(zero, r.v, huge)};
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
  interleave(c.re, c.im);
  c.re.store(&p[0].re);
  c.im.store(&p[2].re);
}

inline void add_truncated(int16_t* sums, f32x4 v) {
  // The conversion saturates and takes not-a-number to 0. The sum of the low halves wraps.
  const v128_t whole = wasm_i32x4_trunc_sat_f32x4(v.v);
  const v128_t low = wasm_i16x8_shuffle(whole, whole, 0, 2, 4, 6, 0, 2, 4, 6);
  wasm_v128_store64_lane(sums, wasm_i16x8_add(wasm_v128_load64_zero(sums), low), 0);
}

// Integers.

struct i32x4 {
  v128_t v;
  static i32x4 splat(int32_t x) { return {wasm_i32x4_splat(x)}; }
  void store(int32_t* p) const { wasm_v128_store(p, v); }
};

inline i32x4 bits_of(f32x4 a) { return {a.v}; }
inline f32x4 float_of_bits(i32x4 a) { return {a.v}; }
inline i32x4 operator-(i32x4 a, i32x4 b) { return {wasm_i32x4_sub(a.v, b.v)}; }
inline i32x4 operator&(i32x4 a, i32x4 b) { return {wasm_v128_and(a.v, b.v)}; }
template <int kBits>
inline i32x4 shifted_left(i32x4 a) {
  return {wasm_i32x4_shl(a.v, kBits)};
}
template <int kBits>
inline i32x4 shifted_right(i32x4 a) {
  return {wasm_u32x4_shr(a.v, kBits)};
}
inline f32x4 to_float(i32x4 a) { return {wasm_f32x4_convert_i32x4(a.v)}; }
inline void offsets_of(i32x4 a, size_t* out) {
  out[0] = wasm_u16x8_extract_lane(a.v, 0);
  out[1] = wasm_u16x8_extract_lane(a.v, 2);
  out[2] = wasm_u16x8_extract_lane(a.v, 4);
  out[3] = wasm_u16x8_extract_lane(a.v, 6);
}
inline bool same_bits(f32x4 a, f32x4 b) { return wasm_i32x4_all_true(wasm_i32x4_eq(a.v, b.v)); }

// Doubles.

struct f64x4 {
  static constexpr int kLanes = 4;
  v128_t lo, hi;
  static f64x4 splat(double x) { return {wasm_f64x2_splat(x), wasm_f64x2_splat(x)}; }
};

inline f64x4 operator+(f64x4 a, f64x4 b) {
  return {wasm_f64x2_add(a.lo, b.lo), wasm_f64x2_add(a.hi, b.hi)};
}
inline f64x4 operator-(f64x4 a, f64x4 b) {
  return {wasm_f64x2_sub(a.lo, b.lo), wasm_f64x2_sub(a.hi, b.hi)};
}
inline f64x4 operator*(f64x4 a, f64x4 b) {
  return {wasm_f64x2_mul(a.lo, b.lo), wasm_f64x2_mul(a.hi, b.hi)};
}
inline f64x4 operator/(f64x4 a, f64x4 b) {
  return {wasm_f64x2_div(a.lo, b.lo), wasm_f64x2_div(a.hi, b.hi)};
}
inline f64x4 square_root(f64x4 a) { return {wasm_f64x2_sqrt(a.lo), wasm_f64x2_sqrt(a.hi)}; }
inline f64x4 widen(f32x4 a) {
  const v128_t upper = wasm_i64x2_shuffle(a.v, a.v, 1, 1);
  return {wasm_f64x2_promote_low_f32x4(a.v), wasm_f64x2_promote_low_f32x4(upper)};
}
inline f32x4 narrow(f64x4 a) {
  const v128_t lo = wasm_f32x4_demote_f64x2_zero(a.lo);
  const v128_t hi = wasm_f32x4_demote_f64x2_zero(a.hi);
  return {wasm_i64x2_shuffle(lo, hi, 0, 2)};
}
inline f32x4 narrow_small(f64x4 a) { return narrow(a); }

inline void load_columns(const void* base, const size_t* offsets, f64x4& first, f64x4& second) {
  const v128_t a = wasm_v128_load(at_offset<double>(base, offsets[0]));
  const v128_t b = wasm_v128_load(at_offset<double>(base, offsets[1]));
  const v128_t c = wasm_v128_load(at_offset<double>(base, offsets[2]));
  const v128_t d = wasm_v128_load(at_offset<double>(base, offsets[3]));
  first = {wasm_i64x2_shuffle(a, b, 0, 2), wasm_i64x2_shuffle(c, d, 0, 2)};
  second = {wasm_i64x2_shuffle(a, b, 1, 3), wasm_i64x2_shuffle(c, d, 1, 3)};
}
inline void load_columns(const void* base, const size_t* offsets, f32x4& a, f32x4& b, f32x4& c,
                         f32x4& d) {
  a = f32x4::load(at_offset<float>(base, offsets[0]));
  b = f32x4::load(at_offset<float>(base, offsets[1]));
  c = f32x4::load(at_offset<float>(base, offsets[2]));
  d = f32x4::load(at_offset<float>(base, offsets[3]));
  interleave(a, b, c, d);
}

}  // namespace wasm
}  // namespace simd
}  // namespace VEKBF_TARGET
}  // namespace vekbf
