// SPDX-License-Identifier: MIT
//
// cos x and -sin x of floats x, in lanes, to the floats that the double-precision library functions
// give after rounding. Table of 256 directions plus a short polynomial (P. T. P. Tang,
// "Table-driven implementation of the exponential function", ACM TOMS 15 (1989), shows the method).
//
// With n near x 256 / (2 pi) and r = x - n 2 pi / 256:
//   cos x = C + (C (cos r - 1) + N sin r),  -sin x = N + (N (cos r - 1) - C sin r)
// where C = cos and N = -sin of n 2 pi / 256 stand in the table. n is rounded in single precision,
// which puts |r| at 0.56 steps of 2 pi/256 at most over the domain. Error, absolute: 0.55e-16 each
// from the table's and the last addition's rounding, 1.8e-17 from the polynomials (next terms
// r^7/5040 and r^8/40320), 1.3e-16 in all; where C or N vanishes the table is exact and the
// relative error stays of that order. That is close enough for the rounded float: phasor_slow_test
// compares every float of the domain with the library functions. The product n kStepHigh is exact
// up to n = 2^20.
#pragma once

#include "base/target.h"
#include "math/phasor_table.h"
#include "simd/lanes.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

inline constexpr float kPhasorLimit = 0x1p14f;  // domain: kPhasorTiny <= |x| <= kPhasorLimit
inline constexpr float kPhasorTiny = 0x1p-12f;  // below it cos x rounds to 1 and sin x to x

// cos and -sin of the sum of a direction of the table and r.
template <class W>
struct Turned {
  W cosine;
  W minus_sine;
};

template <class W>
[[gnu::always_inline]] inline Turned<W> turned(W cosine, W minus_sine, W r) {
  const auto c = [](double value) { return W::splat(value); };
  W z = r * r;
  W sin_r = r + (r * z) * (z * c(1.0 / 120) - c(1.0 / 6));
  W cos_r_less_1 = z * (z * (z * c(-1.0 / 720) + c(1.0 / 24)) - c(0.5));
  return {cosine + (cosine * cos_r_less_1 + minus_sine * sin_r),
          minus_sine + (minus_sine * cos_r_less_1 - cosine * sin_r)};
}

template <class V>
[[gnu::always_inline]] inline simd::Pairs<V> phasor(V x) {
  using namespace simd;
  using I = decltype(bits_of(x));
  using W = decltype(widen(x));
  const auto c = [](double value) { return W::splat(value); };
  const float kStepsPerRadian = 256 / 6.2831853f;
  const float kRound = 0x1.8p23f;  // adding and taking it away leaves the nearest integer
  const double kStepHigh = 0x1.921fb54400000p-6;
  const double kStepLow = 0x1.0b4611a626331p-40;

  const V biased = x * V::splat(kStepsPerRadian) + V::splat(kRound);
  W n = widen(biased - V::splat(kRound));
  W r = (widen(x) - n * c(kStepHigh)) - n * c(kStepLow);
  size_t entries[V::kLanes];
  static_assert(sizeof(kPhasorTable[0]) == 1 << 4);
  offsets_of(shifted_left<4>(bits_of(biased) & I::splat(kPhasorTableSize - 1)), entries);
  W cosine, minus_sine;
  load_columns(kPhasorTable, entries, cosine, minus_sine);

  Turned<W> sum = turned(cosine, minus_sine, r);
  return {narrow(sum.cosine), narrow(sum.minus_sine)};
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
