// SPDX-License-Identifier: MIT
#pragma once

#include <arm_neon.h>

#include <cstdint>

#include "simd/f32x1.h"

namespace vekbf::simd {
namespace neon {

struct f32x4 {
  static constexpr int kLanes = 4;
  struct Mask {
    uint32x4_t v;
  };

  float32x4_t v;

  static f32x4 load(const float* p) { return {vld1q_f32(p)}; }
  static f32x4 splat(float x) { return {vdupq_n_f32(x)}; }
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

// The 32-bit unit has no vector division; its step-by-step one would not be exact. The scalar unit
// sees the first eight vector registers as its own, which the compiler makes no use of.
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

inline bool any_nan(f32x4 a) {
  const uint32x4_t equal = vceqq_f32(a.v, a.v);
  const uint32x2_t pairs = vand_u32(vget_low_u32(equal), vget_high_u32(equal));
  return vget_lane_u32(vpmin_u32(pairs, pairs), 0) == 0;
}

inline f32x4 reverse(f32x4 a) {
  const float32x4_t swapped = vrev64q_f32(a.v);
  return {vcombine_f32(vget_high_f32(swapped), vget_low_f32(swapped))};
}

// gcc 12 moves vectors about, some by way of the stack, to give the intrinsics of the next three
// operations neighbouring registers; these instructions need none.

// a0 b0 a1 b1 and a2 b2 a3 b3.
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

// a0 a2 b0 b2 and a1 a3 b1 b3: undoes interleave.
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

// Rows become columns.
inline void transpose(f32x4& a, f32x4& b, f32x4& c, f32x4& d) {
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

// gcc 12 moves the two vectors about before it has them in neighbouring registers: it is told
// which.
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

}  // namespace neon

template <>
inline Pairs<neon::f32x4> load_pairs<neon::f32x4>(const Complex* p) {
  const float32x4x2_t both = vld2q_f32(&p->re);
  return {{both.val[0]}, {both.val[1]}};
}
template <>
inline Pairs<neon::f32x4> copy_pairs<neon::f32x4>(Complex* to, const Complex* from) {
  const float32x4x2_t both = vld2q_f32(&from->re);
  vst2q_f32(&to->re, both);
  return {{both.val[0]}, {both.val[1]}};
}

}  // namespace vekbf::simd
