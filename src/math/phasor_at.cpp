// SPDX-License-Identifier: MIT
#include "math/phasor_at.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "math/cosine_table.h"
#include "math/phasor.h"

namespace vekbf {

namespace {

// Beyond the table's domain: M. H. Payne and R. N. Hanek, "Radian reduction for trigonometric
// functions", ACM SIGNUM Newsletter 18 (1983). phi is a significand of 24 bits times 2^e. Of
// 2^e / (2 pi) only what lies below one turn matters: 128 bits of that times the significand are
// phi in turns, with an error below 2^-104. No float beyond the domain comes closer to a direction
// of the table than 2^-38 turns, so that the rest is good to double precision even there. The
// polynomials' error is that of phasor.h; phasor_slow_test compares every float.
Complex phasor_of_large(float phi) {
  constexpr int kSignificandBits = 24;
  constexpr int kExponentOfOne = 127;
  constexpr int kWordBits = 32;
  const uint32_t bits = std::bit_cast<uint32_t>(phi);
  const uint64_t significand = (bits & 0x7fffff) | 0x800000;
  const int exponent = static_cast<int>((bits >> (kSignificandBits - 1)) & 0xff);
  const int first = kWordBits + exponent - (kExponentOfOne + kSignificandBits - 1);
  const uint32_t* words = kTurnsPerRadian + first / kWordBits;

  // The product's words, the most significant one first.
  uint32_t turns[4];
  uint64_t carry = 0;
  for (int i = 3; i >= 0; --i) {
    const uint64_t pair = uint64_t{words[i]} << kWordBits | words[i + 1];
    const auto word = static_cast<uint32_t>(pair >> (kWordBits - first % kWordBits));
    carry = significand * word + (carry >> kWordBits);
    turns[i] = static_cast<uint32_t>(carry);
  }

  // The nearest of 256 directions, and what is left.
  constexpr int kDirectionShift = 24;
  const uint32_t direction = (turns[0] + (1u << (kDirectionShift - 1))) >> kDirectionShift;
  const auto rest = static_cast<int32_t>(turns[0] - (direction << kDirectionShift));
  constexpr double kTwoPi = 0x1.921fb54442d18p+2;
  const double r = ((rest * 0x1p-32 + turns[1] * 0x1p-64) + turns[2] * 0x1p-96) * kTwoPi;

  using f64x1 = decltype(widen(simd::f32x1{}));
  const auto& entry = kPhasorTable[direction % kPhasorTableSize];
  const Direction<f64x1> sum =
      turned<f64x1>({f64x1::splat(entry[0]), f64x1::splat(entry[1])}, small_angle(f64x1::splat(r)));
  const float sine = static_cast<float>(sum.minus_sine.v[0]);
  return {static_cast<float>(sum.cosine.v[0]), std::signbit(phi) ? -sine : sine};
}

}  // namespace

Complex phasor_at(float phi) {
  const float size = std::fabs(phi);
  // 1 - phi^2/2 rounds to 1 and phi - phi^3/6 to phi.
  if (size < kPhasorTiny) return {1.0f, -phi};
  if (size <= kPhasorLimit) {
    const auto value = phasor(simd::f32x1::splat(phi));
    return {value.re.v[0], value.im.v[0]};
  }
  if (size <= std::numeric_limits<float>::max()) return phasor_of_large(phi);
  return {phi - phi, phi - phi};
}

}  // namespace vekbf
