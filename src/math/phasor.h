// SPDX-License-Identifier: MIT
//
// cos x and -sin x of a float x, to the float that the double-precision library functions give
// after rounding. Table of 256 directions plus a short polynomial (P. T. P. Tang, "Table-driven
// implementation of the exponential function", ACM TOMS 15 (1989), shows the method).
//
// With n = x 256 / (2 pi) rounded to the nearest integer and r = x - n 2 pi / 256, |r| <= pi/256:
//   cos x = C + (C (cos r - 1) - S sin r),  sin x = S + (S (cos r - 1) + C sin r)
// where C, S stand in the table. Error, absolute: 0.55e-16 each from the table's and the last
// addition's rounding, below 1e-17 from the polynomials (next terms r^7/5040 and
// r^8/40320), 1.3e-16 in all; where C or S vanishes the table is exact and the relative error stays
// of that order. That is close enough for the rounded float: phasor_slow_test compares every float
// of the domain with the library functions. The product n kStepHigh is exact up to n = 2^20; the
// rest of the domain rests on that comparison.
#pragma once

#include "math/phasor_table.h"
#include "simd/f64x2.h"

namespace vekbf {

inline constexpr float kPhasorLimit = 0x1p17f;  // domain: kPhasorTiny <= |x| <= kPhasorLimit
inline constexpr float kPhasorTiny = 0x1p-12f;  // below it cos x rounds to 1 and sin x to x

template <class D>
struct Phasor {
  D re;  // cos x
  D im;  // -sin x
};

template <class D>
inline Phasor<D> phasor(D x) {
  const auto c = [](double value) { return D::splat(value); };
  const double kStepsPerRadian = 256 / 6.283185307179586;
  const double kRound = 0x1.8p52;  // adding and taking it away leaves the nearest integer
  const double kStepHigh = 0x1.921fb54400000p-6;
  const double kStepLow = 0x1.0b4611a626331p-40;

  const D biased = x * c(kStepsPerRadian) + c(kRound);
  const D n = biased - c(kRound);
  const D r = (x - n * c(kStepHigh)) - n * c(kStepLow);
  const D z = r * r;
  const D sin_r = r + (r * z) * (z * c(1.0 / 120) - c(1.0 / 6));
  const D cos_r_less_1 = z * (z * (z * c(-1.0 / 720) + c(1.0 / 24)) - c(0.5));
  const auto entry = load_columns(D{}, kPhasorTable[low_bits(biased, 0) % kPhasorTableSize],
                                  kPhasorTable[low_bits(biased, 1) % kPhasorTableSize]);
  const D cosine = entry.first;
  const D sine = entry.second;
  return {cosine + (cosine * cos_r_less_1 - sine * sin_r),
          c(-1.0) * (sine + (sine * cos_r_less_1 + cosine * sin_r))};
}

}  // namespace vekbf
