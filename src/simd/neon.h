// SPDX-License-Identifier: MIT
//
// Four lanes of the ARM vector unit, 32-bit and 64-bit. The 32-bit unit flushes subnormal operands
// and results to zero; it has no doubles, which the scalar unit does instead.
#pragma once

#include <arm_neon.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "base/complex.h"
#include "base/target.h"
#include "simd/pairs.h"
#include "simd/traits.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace simd {
namespace neon {

struct f32x4 {
  static constexpr int kLanes = 4;
  struct Mask {
    uint32x4_t v;
  };

  float32x4_t v;

  static f32x4 load(const float* p) { return {vld1q_f32(p)}; }
  static f32x4 splat(float x) { return {vdupq_n_f32(x)}; }
  static Pairs<f32x4> load_pairs(const Complex* p);
  static Pairs<f32x4> copy_pairs(Complex* to, const Complex* from);
  void store(float* p) const { vst1q_f32(p, v); }
};

inline f32x4 operator+(f32x4 a, f32x4 b) { return {vaddq_f32(a.v, b.v)}; }
inline f32x4 operator-(f32x4 a, f32x4 b) { return {vsubq_f32(a.v, b.v)}; }
inline f32x4 operator*(f32x4 a, f32x4 b) { return {vmulq_f32(a.v, b.v)}; }

// VMLA and VMLS of the 32-bit unit round the product before they add it; those of the 64-bit unit
// do not.
inline f32x4 plus_product(f32x4 a, f32x4 b, f32x4 c) {
#if defined(__aarch64__)
  return a + b * c;
#else
  return {vmlaq_f32(a.v, b.v, c.v)};
#endif
}
inline f32x4 minus_product(f32x4 a, f32x4 b, f32x4 c) {
#if defined(__aarch64__)
  return a - b * c;
#else
  return {vmlsq_f32(a.v, b.v, c.v)};
#endif
}

// The 32-bit unit has no vector division, and its reciprocal steps would not be exact. The scalar
// unit divides in the first vector registers, which are its own too.
inline f32x4 operator/(f32x4 a, f32x4 b) {
#if defined(__aarch64__)
  return {vdivq_f32(a.v, b.v)};
#elif defined(__clang__)
  float x[4], y[4];
  vst1q_f32(x, a.v);
  vst1q_f32(y, b.v);
  for (int i = 0; i < 4; ++i) x[i] = x[i] / y[i];
  return {vld1q_f32(x)};
#else
  register float32x4_t quotient __asm__("q0") = a.v;
  register float32x4_t divisor __asm__("q1") = b.v;
  __asm__(
      "vdiv.f32 s0, s0, s4\n\t"
      "vdiv.f32 s1, s1, s5\n\t"
      "vdiv.f32 s2, s2, s6\n\t"
      "vdiv.f32 s3, s3, s7"
      : "+w"(quotient)
      : "w"(divisor));
  return {quotient};
#endif
}

// gcc 12 turns the compare intrinsics of the 32-bit unit into scalar compares unless it may ignore
// not-a-number; naming the instruction keeps it.
inline f32x4::Mask greater(f32x4 a, f32x4 b) {
#if defined(__aarch64__) || defined(__clang__)
  return {vcgtq_f32(a.v, b.v)};
#else
  uint32x4_t mask;
  __asm__("vcgt.f32 %q0, %q1, %q2" : "=w"(mask) : "w"(a.v), "w"(b.v));
  return {mask};
#endif
}
inline f32x4::Mask greater_equal(f32x4 a, f32x4 b) {
#if defined(__aarch64__) || defined(__clang__)
  return {vcgeq_f32(a.v, b.v)};
#else
  uint32x4_t mask;
  __asm__("vcge.f32 %q0, %q1, %q2" : "=w"(mask) : "w"(a.v), "w"(b.v));
  return {mask};
#endif
}
inline f32x4 select(f32x4::Mask mask, f32x4 a, f32x4 b) { return {vbslq_f32(mask.v, a.v, b.v)}; }

inline bool any(f32x4::Mask mask) {
  const uint32x2_t both = vorr_u32(vget_low_u32(mask.v), vget_high_u32(mask.v));
  return vget_lane_u64(vreinterpret_u64_u32(both), 0) != 0;
}
inline bool any_nan(f32x4 a) {
  const uint32x4_t equal = vceqq_f32(a.v, a.v);
  const uint32x2_t pairs = vand_u32(vget_low_u32(equal), vget_high_u32(equal));
  return vget_lane_u32(vpmin_u32(pairs, pairs), 0) == 0;
}

inline f32x4 reverse(f32x4 a) {
  const float32x4_t swapped = vrev64q_f32(a.v);
  return {vcombine_f32(vget_high_f32(swapped), vget_low_f32(swapped))};
}

// For the intrinsics of the next three operations gcc 12 moves vectors to neighbouring registers,
// some by way of the stack; the instructions need none.

inline void interleave(f32x4& a, f32x4& b) {
#if !defined(__aarch64__) && !defined(__clang__)
  float32x4_t x = a.v;
  float32x4_t y = b.v;
  __asm__("vzip.32 %q0, %q1" : "+w"(x), "+w"(y));
  a.v = x;
  b.v = y;
#else
  const float32x4x2_t both = vzipq_f32(a.v, b.v);
  a.v = both.val[0];
  b.v = both.val[1];
#endif
}

inline void deinterleave(f32x4& a, f32x4& b) {
#if !defined(__aarch64__) && !defined(__clang__)
  float32x4_t x = a.v;
  float32x4_t y = b.v;
  __asm__("vuzp.32 %q0, %q1" : "+w"(x), "+w"(y));
  a.v = x;
  b.v = y;
#else
  const float32x4x2_t both = vuzpq_f32(a.v, b.v);
  a.v = both.val[0];
  b.v = both.val[1];
#endif
}

inline void interleave(f32x4& a, f32x4& b, f32x4& c, f32x4& d) {
#if !defined(__aarch64__) && !defined(__clang__)
  float32x4_t w = a.v;
  float32x4_t x = b.v;
  float32x4_t y = c.v;
  float32x4_t z = d.v;
  __asm__("vtrn.32 %q0, %q1" : "+w"(w), "+w"(x));
  __asm__("vtrn.32 %q0, %q1" : "+w"(y), "+w"(z));
  __asm__("vswp %f0, %e1" : "+w"(w), "+w"(y));
  __asm__("vswp %f0, %e1" : "+w"(x), "+w"(z));
  a.v = w;
  b.v = x;
  c.v = y;
  d.v = z;
#else
  const float32x4x2_t ab = vtrnq_f32(a.v, b.v);
  const float32x4x2_t cd = vtrnq_f32(c.v, d.v);
  a.v = vcombine_f32(vget_low_f32(ab.val[0]), vget_low_f32(cd.val[0]));
  b.v = vcombine_f32(vget_low_f32(ab.val[1]), vget_low_f32(cd.val[1]));
  c.v = vcombine_f32(vget_high_f32(ab.val[0]), vget_high_f32(cd.val[0]));
  d.v = vcombine_f32(vget_high_f32(ab.val[1]), vget_high_f32(cd.val[1]));
#endif
}

inline f32x4 reciprocal_estimate(f32x4 d) { return {vrecpeq_f32(d.v)}; }

inline f32x4 reciprocal_two_step(f32x4 d) {
  f32x4 r = reciprocal_estimate(d);
#if defined(__aarch64__)
  // The 64-bit unit fuses its step instruction and keeps subnormals: write the step out, and flush.
  const f32x4 two = f32x4::splat(2.0f);
  r = r * (two - d * r);
  r = r * (two - d * r);
  const uint32x4_t huge = vcageq_f32(d.v, vdupq_n_f32(0x1p126f));
  const uint32x4_t sign = vandq_u32(vreinterpretq_u32_f32(d.v), vdupq_n_u32(0x80000000u));
  return {vbslq_f32(huge, vreinterpretq_f32_u32(sign), r.v)};
#else
  r.v = vmulq_f32(r.v, vrecpsq_f32(d.v, r.v));
  r.v = vmulq_f32(r.v, vrecpsq_f32(d.v, r.v));
  return r;
#endif
}

inline Pairs<f32x4> f32x4::load_pairs(const Complex* p) {
  const float32x4x2_t both = vld2q_f32(&p->re);
  return {{both.val[0]}, {both.val[1]}};
}
inline Pairs<f32x4> f32x4::copy_pairs(Complex* to, const Complex* from) {
  const float32x4x2_t both = vld2q_f32(&from->re);
  vst2q_f32(&to->re, both);
  return {{both.val[0]}, {both.val[1]}};
}

// The instruction wants neighbouring registers. Unless it is told which, gcc 12 moves both vectors
// first.
inline void store_pairs(Complex* p, Pairs<f32x4> c) {
#if !defined(__aarch64__) && !defined(__clang__)
  struct Group {
    Complex values[4];
  };
  Group& group = *reinterpret_cast<Group*>(p);
  register float32x4_t re __asm__("q8") = c.re.v;
  register float32x4_t im __asm__("q9") = c.im.v;
  __asm__("vst2.32 {d16-d19}, %0" : "=Q"(group) : "w"(re), "w"(im));
#else
  float32x4x2_t both;
  both.val[0] = c.re.v;
  both.val[1] = c.im.v;
  vst2q_f32(&p->re, both);
#endif
}

inline void add_truncated(int16_t* acc, f32x4 v) {
  // Unsigned, because it wraps: gcc 12 writes vadd_s16 as a sum of signed numbers.
  const uint16x4_t addend = vmovn_u32(vreinterpretq_u32_s32(vcvtq_s32_f32(v.v)));
  vst1_s16(acc, vreinterpret_s16_u16(vadd_u16(vreinterpret_u16_s16(vld1_s16(acc)), addend)));
}

inline void load_columns(const void* base, const size_t* offsets, f32x4& a, f32x4& b, f32x4& c,
                         f32x4& d) {
  a = f32x4::load(at_offset<float>(base, offsets[0]));
  b = f32x4::load(at_offset<float>(base, offsets[1]));
  c = f32x4::load(at_offset<float>(base, offsets[2]));
  d = f32x4::load(at_offset<float>(base, offsets[3]));
  interleave(a, b, c, d);
}

// Integers.

struct i32x4 {
  int32x4_t v;
  static i32x4 splat(int32_t x) { return {vdupq_n_s32(x)}; }
  void store(int32_t* p) const { vst1q_s32(p, v); }
};

inline i32x4 bits_of(f32x4 a) { return {vreinterpretq_s32_f32(a.v)}; }
inline f32x4 float_of_bits(i32x4 a) { return {vreinterpretq_f32_s32(a.v)}; }
// Unsigned, because it wraps: gcc 12 writes vsubq_s32 as a difference of signed numbers.
inline i32x4 operator-(i32x4 a, i32x4 b) {
  return {vreinterpretq_s32_u32(vsubq_u32(vreinterpretq_u32_s32(a.v), vreinterpretq_u32_s32(b.v)))};
}
inline i32x4 operator&(i32x4 a, i32x4 b) { return {vandq_s32(a.v, b.v)}; }
template <int kBits>
inline i32x4 shifted_left(i32x4 a) {
  return {vshlq_n_s32(a.v, kBits)};
}
template <int kBits>
inline i32x4 shifted_right(i32x4 a) {
  return {vreinterpretq_s32_u32(vshrq_n_u32(vreinterpretq_u32_s32(a.v), kBits))};
}
inline f32x4 to_float(i32x4 a) { return {vcvtq_f32_s32(a.v)}; }
inline void offsets_of(i32x4 a, size_t* out) {
  const uint16x8_t halves = vreinterpretq_u16_s32(a.v);
  out[0] = vgetq_lane_u16(halves, 0);
  out[1] = vgetq_lane_u16(halves, 2);
  out[2] = vgetq_lane_u16(halves, 4);
  out[3] = vgetq_lane_u16(halves, 6);
}
inline bool same_bits(f32x4 a, f32x4 b) {
  const uint32x4_t same = vceqq_u32(vreinterpretq_u32_f32(a.v), vreinterpretq_u32_f32(b.v));
  const uint32x2_t both = vand_u32(vget_low_u32(same), vget_high_u32(same));
  return vget_lane_u64(vreinterpret_u64_u32(both), 0) == ~uint64_t{0};
}

// Doubles.

#if defined(__aarch64__)

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
  const float64x2_t a = vld1q_f64(at_offset<double>(base, offsets[0]));
  const float64x2_t b = vld1q_f64(at_offset<double>(base, offsets[1]));
  const float64x2_t c = vld1q_f64(at_offset<double>(base, offsets[2]));
  const float64x2_t d = vld1q_f64(at_offset<double>(base, offsets[3]));
  first = {vzip1q_f64(a, b), vzip1q_f64(c, d)};
  second = {vzip2q_f64(a, b), vzip2q_f64(c, d)};
}

#else

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

// The scalar unit reads and writes the first vector registers directly; the compiler would go
// through memory or core registers.
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
  const double* a = at_offset<double>(base, offsets[0]);
  const double* b = at_offset<double>(base, offsets[1]);
  const double* c = at_offset<double>(base, offsets[2]);
  const double* d = at_offset<double>(base, offsets[3]);
  first = {a[0], b[0], c[0], d[0]};
  second = {a[1], b[1], c[1], d[1]};
}

#endif

}  // namespace neon

#if defined(__arm__)
template <>
inline constexpr bool kFlushesSubnormals<neon::f32x4> = true;
#endif
template <>
inline constexpr bool kLoadsSeparate<neon::f32x4> = true;
template <>
inline constexpr bool kPassesPay<neon::f32x4> = false;

}  // namespace simd
}  // namespace VEKBF_TARGET
}  // namespace vekbf
