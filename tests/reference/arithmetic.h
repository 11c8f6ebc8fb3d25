// SPDX-License-Identifier: MIT
//
// The arithmetic that the model's texts share: complex values, conversion to integers, the vector
// unit's reciprocal.
#pragma once

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

#include "base/complex.h"
#include "base/sizes.h"

namespace reference {

// Every float operation written in this model is rounded to single precision on its own.
static_assert(FLT_EVAL_METHOD == 0);

inline Complex add(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
inline Complex subtract(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }
inline Complex scale(float factor, Complex a) { return {factor * a.re, factor * a.im}; }

inline Complex multiply(Complex a, Complex b) {
  return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

// a times the conjugate of b.
inline Complex multiply_conjugate(Complex a, Complex b) {
  return {a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im};
}

inline Complex swapped(Complex a) { return {a.im, a.re}; }

// |z| as glibc's cabsf gives it: the squares are exact in double precision; the sum, the root and
// the conversion round. Other C libraries' cabsf round otherwise, so that it is not called here. An
// infinite part wins over a not-a-number one (ISO C, annex G).
inline float magnitude(Complex z) {
  if (std::isinf(z.re) || std::isinf(z.im)) return std::numeric_limits<float>::infinity();
  const double re = z.re;
  const double im = z.im;
  return static_cast<float>(std::sqrt(re * re + im * im));
}

// The square of the magnitude; re * re + im * im would round differently.
inline float power(Complex z) {
  const float size = magnitude(z);
  return size * size;
}

// Toward zero, saturating, not-a-number to 0.
inline int32_t to_integer(double value) {
  if (std::isnan(value)) return 0;
  const double whole = std::trunc(value);
  if (whole < -2147483648.0) return std::numeric_limits<int32_t>::min();
  if (whole > 2147483647.0) return std::numeric_limits<int32_t>::max();
  return static_cast<int32_t>(whole);
}

// Sums and products modulo 2^32.
inline int32_t wrapped_sum(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
inline int32_t wrapped_product(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// The reciprocal estimate of the ARM architecture manual (RecipEstimate with an operand of single
// precision, results below the normal range flushed to zero): a fraction of nine bits, 256 to 511,
// looked up by the top eight bits of the operand's mantissa.
inline float reciprocal_estimate(float d) {
  const uint32_t bits = std::bit_cast<uint32_t>(d);
  const float sign = std::signbit(d) ? -1.0f : 1.0f;
  const float size = std::fabs(d);
  if (std::isnan(d)) return d;
  if (size >= 0x1p126f) return sign * 0.0f;
  if (size < 0x1p-126f) return sign * std::numeric_limits<float>::infinity();

  // a / 512 is the mantissa as a number from 0.5 to 1, cut after nine bits; the table holds the
  // reciprocal of the middle of the interval of numbers that are cut to it, rounded to nine bits.
  const int32_t a = static_cast<int32_t>(256 + ((bits >> 15) & 255));
  const int32_t b = (1 << 19) / (2 * a + 1);
  const int32_t r = (b + 1) / 2;

  // d = mantissa * 2^exponent with mantissa from 0.5 to 1; 1/d = (r/256) * 2^-exponent.
  int exponent = 0;
  static_cast<void>(std::frexp(d, &exponent));
  return sign * std::ldexp(static_cast<float>(r) / 256.0f, -exponent);
}

// One Newton step's factor, 2 - d r; the unit takes a product of zero and infinity as zero.
inline float reciprocal_step(float d, float r) {
  const bool zero_times_infinity =
      (std::fabs(d) < 0x1p-126f && std::isinf(r)) || (std::isinf(d) && r == 0.0f);
  if (zero_times_infinity) return 2.0f;
  const float product = d * r;
  return 2.0f - product;
}

inline float refined_reciprocal(float d) {
  float r = reciprocal_estimate(d);
  r = r * reciprocal_step(d, r);
  r = r * reciprocal_step(d, r);
  return r;
}

}  // namespace reference
