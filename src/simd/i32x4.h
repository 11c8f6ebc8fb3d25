// SPDX-License-Identifier: MIT
//
// Four 32-bit integers beside the four floats of f32x4.h, for table indices and exponents:
//   bits_of(v), float_of_bits(i)     the representation of a float, and back
//   i - j, i & j, shifted_left<n>(i), shifted_right<n>(i)   the latter fills with zeros
//   to_float(i)                      conversion of small whole numbers
//   same_bits(v, w)                  whether all lanes have the same representation
//   i.store(p), I::splat(x)
//   offsets_of(i, out)               the low 16 bits of each lane, as table offsets
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "simd/f32x4.h"

namespace vekbf::simd {

struct i32x1 {
  int32_t v;
  static i32x1 splat(int32_t x) { return {x}; }
  void store(int32_t* p) const { *p = v; }
};

inline i32x1 bits_of(f32x1 a) { return {std::bit_cast<int32_t>(a.v)}; }
inline f32x1 float_of_bits(i32x1 a) { return {std::bit_cast<float>(a.v)}; }
inline i32x1 operator-(i32x1 a, i32x1 b) {
  return {static_cast<int32_t>(static_cast<uint32_t>(a.v) - static_cast<uint32_t>(b.v))};
}
inline i32x1 operator&(i32x1 a, i32x1 b) { return {a.v & b.v}; }
template <int kBits>
inline i32x1 shifted_left(i32x1 a) {
  return {static_cast<int32_t>(static_cast<uint32_t>(a.v) << kBits)};
}
template <int kBits>
inline i32x1 shifted_right(i32x1 a) {
  return {static_cast<int32_t>(static_cast<uint32_t>(a.v) >> kBits)};
}
inline f32x1 to_float(i32x1 a) { return {static_cast<float>(a.v)}; }
inline void offsets_of(i32x1 a, size_t* out) { *out = static_cast<uint16_t>(a.v); }
inline bool same_bits(f32x1 a, f32x1 b) { return bits_of(a).v == bits_of(b).v; }

namespace portable {

struct i32x4 {
  i32x1 v[4];
  static i32x4 splat(int32_t x) { return {{{x}, {x}, {x}, {x}}}; }
  void store(int32_t* p) const {
    for (int i = 0; i < 4; ++i) p[i] = v[i].v;
  }
};

template <class F>
inline i32x4 each_integer(F f) {
  return {{f(0), f(1), f(2), f(3)}};
}

inline i32x4 bits_of(f32x4 a) {
  return each_integer([&](int i) { return simd::bits_of(f32x1{a.v[i]}); });
}
inline f32x4 float_of_bits(i32x4 a) {
  return each([&](int i) { return simd::float_of_bits(a.v[i]).v; });
}
inline i32x4 operator-(i32x4 a, i32x4 b) {
  return each_integer([&](int i) { return a.v[i] - b.v[i]; });
}
inline i32x4 operator&(i32x4 a, i32x4 b) {
  return each_integer([&](int i) { return a.v[i] & b.v[i]; });
}
template <int kBits>
inline i32x4 shifted_left(i32x4 a) {
  return each_integer([&](int i) { return simd::shifted_left<kBits>(a.v[i]); });
}
template <int kBits>
inline i32x4 shifted_right(i32x4 a) {
  return each_integer([&](int i) { return simd::shifted_right<kBits>(a.v[i]); });
}
inline f32x4 to_float(i32x4 a) {
  return each([&](int i) { return simd::to_float(a.v[i]).v; });
}
inline void offsets_of(i32x4 a, size_t* out) {
  for (int i = 0; i < 4; ++i) simd::offsets_of(a.v[i], out + i);
}
inline bool same_bits(f32x4 a, f32x4 b) {
  bool same = true;
  for (int i = 0; i < 4; ++i) same = same && simd::same_bits(f32x1{a.v[i]}, f32x1{b.v[i]});
  return same;
}

}  // namespace portable

#if !defined(VEKBF_PORTABLE) && defined(__ARM_NEON)

namespace neon {

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

}  // namespace neon

#elif !defined(VEKBF_PORTABLE) && defined(__SSE2__)

namespace sse2 {

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

}  // namespace sse2

#endif

}  // namespace vekbf::simd
