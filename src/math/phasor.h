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

inline constexpr float kPhasorLimit = 0x1p14f;    // domain: kPhasorTiny <= |x| <= kPhasorLimit
inline constexpr float kPhasorTiny = 0x1p-12f;    // below it cos x rounds to 1 and sin x to x
inline constexpr float kDoublingLimit = 0x1p12f;  // domain of `doubled`: |x| below it

// cos and -sin in double precision.
template <class W>
struct Direction {
  W cosine;
  W minus_sine;
};

// What is left of an angle beside a direction of the table.
template <class W>
struct SmallAngle {
  W sine;
  W cosine_less_1;
};

template <class W>
[[gnu::always_inline]] inline SmallAngle<W> small_angle(W r) {
  const auto c = [](double value) { return W::splat(value); };
  W z = r * r;
  W sine = r + (r * z) * (z * c(1.0 / 120) - c(1.0 / 6));
  W cosine_less_1 = z * (z * (z * c(-1.0 / 720) + c(1.0 / 24)) - c(0.5));
  return {sine, cosine_less_1};
}

template <class W>
[[gnu::always_inline]] inline Direction<W> turned(Direction<W> from, SmallAngle<W> by) {
  return {from.cosine + (from.cosine * by.cosine_less_1 + from.minus_sine * by.sine),
          from.minus_sine + (from.minus_sine * by.cosine_less_1 - from.cosine * by.sine)};
}

// A direction of the table, by its offset in bytes, and what is left.
template <class V>
struct ReducedPhase {
  decltype(bits_of(V{})) entry;
  SmallAngle<decltype(widen(V{}))> rest;
};

template <class V>
[[gnu::always_inline]] inline ReducedPhase<V> reduced_phase(V x) {
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
  static_assert(sizeof(kPhasorTable[0]) == 1 << 4);
  return {shifted_left<4>(bits_of(biased) & I::splat(kPhasorTableSize - 1)), small_angle(r)};
}

template <class V>
[[gnu::always_inline]] inline auto direction_of(const ReducedPhase<V>& phase) {
  using W = decltype(widen(V{}));
  size_t entries[V::kLanes];
  offsets_of(phase.entry, entries);
  W cosine, minus_sine;
  load_columns(kPhasorTable, entries, cosine, minus_sine);
  return turned<W>({cosine, minus_sine}, phase.rest);
}

// The direction of 2x from that of x, before it is rounded. This form, and of those tried only this
// one, rounds to the floats of the library functions for every x of its domain
// (phasor_slow_test); the first float that fails beyond the domain is 0x1.33333p+12. The forms
// (c - s)(c + s), 1 - 2 s^2 and 2 c^2 - 1 fail for some x where the cosine of 2x is nearly 0.
template <class W>
[[gnu::always_inline]] inline Direction<W> doubled(Direction<W> x) {
  W product = x.minus_sine * x.cosine;
  return {x.cosine * x.cosine - x.minus_sine * x.minus_sine, product + product};
}

template <class W>
[[gnu::always_inline]] inline auto rounded(Direction<W> x) {
  return simd::Pairs<decltype(narrow(x.cosine))>{narrow(x.cosine), narrow(x.minus_sine)};
}

template <class V>
[[gnu::always_inline]] inline simd::Pairs<V> phasor(V x) {
  return rounded(direction_of(reduced_phase(x)));
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
