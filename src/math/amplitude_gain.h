// SPDX-License-Identifier: MIT
//
// The detector's spectral gain, to the float that the double-precision library functions give after
// rounding, in lanes:
//
//   g = sqrt(v) (sqrt(pi)/2) / gamma * exp(-v/2) * (v J1(v/2) + w J0(v/2)),  w = (float)(v + 1)
//
// With w exact, the last two factors are one smooth function A(v), which gain_table.h holds as
// polynomials about every whole v. The rounding of w is kept by its first-order effect: with
// d = w - (v + 1), which is exact in single precision,
//   exp(-v/2) (v J1 + w J0) = (1 + d p) A(v + d q) + O(d^2),
//   p = (v + 1/2) / D,  q = v / D,  D = v^2 + 2 v + 1/2,
// because A' = G0/2 - (v + 1/2) G1 where A = (v + 1) G0 + v G1, G0 and G1 the two Bessel functions
// times exp(-v/2).
//
// No float is taken on trust. kGainMargin bounds the distance from the library's value (the table's
// program derives it: interpolation, single-precision tail, second order of d, roundings, and 40
// units of 2^-53 for the library), and a lane whose two ends round to different floats is computed
// by the plain form: about one in 2200.
#pragma once

#include <cstddef>

#include "base/target.h"
#include "math/gain_table.h"
#include "simd/lanes.h"

namespace vekbf {

// The domain: v as it follows from a clamped gamma. Negative v, down to rounding noise about
// -2e-6, gives not a number.
inline constexpr float kGainLowestSnr = 0.001f;
inline constexpr float kGainHighestSnr = 1000.0f;

// From about this v on gains are subnormal.
inline constexpr float kSmallGainFrom = 170.0f;

// The definition, for any floats.
float amplitude_gain_plain(float v, float gamma);

// The definition, computed once for each of the last few arguments. Bins of one power are one case
// for the table: one or two pulses in every block leave a frame five powers at most, and each bin
// for itself in the mathematics library would take twice as long as all the rest of the block.
struct KnownGains {
  struct Case {
    float v;
    float gamma;
    float gain;
  };
  static constexpr int kCases = 8;

  float of(float v, float gamma);

  int misses = 0;  // cases computed so far, so that a frame need not clear them
  Case cases[kCases];
};

// Redoes the lanes in which `low` and `high` differ.
void amplitude_gain_redo(float* low, const float* high, const float* v, const float* gamma,
                         int lanes, KnownGains& known);

inline namespace VEKBF_TARGET {

// gain^2 gamma in the order gain (gain gamma). From v = 140 on a gain lies below 1e-30 and the
// result is zero; saying so keeps subnormals out of the product.
template <class V>
inline V gain_power(V gain, V gamma, V v) {
  const V zero = V::splat(0.0f);
  const V heard = select(greater(v, V::splat(140.0f)), zero, gain);
  return heard * (heard * gamma);
}

template <class V>
[[gnu::always_inline]] inline V amplitude_gain(V v, V gamma, KnownGains& known) {
  using namespace simd;
  using I = decltype(bits_of(v));
  using W = decltype(widen(v));
  const auto c = [](float value) { return V::splat(value); };

  const float kRound = 0x1.8p23f;  // adding and taking it away leaves the nearest integer
  const V biased = v + c(kRound);
  const V t = v - (biased - c(kRound));  // exact
  size_t cells[V::kLanes];
  static_assert(sizeof(GainCell) == 1 << 6);
  offsets_of(shifted_left<6>(bits_of(biased) & I::splat(kGainTableSize - 1)), cells);
  V c6 = t, c7 = t, c8 = t, power = t;
  const GainCell* table = kGainTable;
  load_columns(&table->tail[0], cells, c6, c7, c8, power);
  W c0, c1, c2, c3, c4, c5;
  load_columns(&table->head[0], cells, c0, c1);
  load_columns(&table->head[2], cells, c2, c3);
  load_columns(&table->head[4], cells, c4, c5);

  const V one = c(1.0f);
  const V rounding = ((v + one) - one) - v;
  const V unit = rounding / (v * (v + c(2.0f)) + c(0.5f));
  W stretch = widen(unit * (v + c(0.5f)));
  W x = widen(t) + widen(unit * v);
  W tail = widen(c6 + t * (c7 + t * c8));
  W x2 = x * x;
  W factor = (c0 + x * c1) + x2 * ((c2 + x * c3) + x2 * ((c4 + x * c5) + x2 * tail));

  // Half the square root of pi, less the power that the table's own powers lack.
  const double kScale = 0.886226925452758 / (1 << kGainBias);
  W scale = square_root(widen(v)) * W::splat(kScale) / widen(gamma * power);
  W gain = (scale + scale * stretch) * factor;
  W margin = scale * W::splat(kGainMargin);
  V low = t, high = t;
  bool small = false;
  if constexpr (kSubnormalsAreSlow<V>) small = any(greater(v, c(kSmallGainFrom)));
  if (small) {  // GCOVR_EXCL_BR_LINE: never set for some lane types, and each is counted
    low = narrow_small(gain - margin);
    high = narrow_small(gain + margin);
  } else {
    low = narrow(gain - margin);
    high = narrow(gain + margin);
  }
  if (same_bits(low, high)) [[likely]]  // GCOVR_EXCL_BR_LINE: counted for each lane type
    return low;

  float lows[V::kLanes], highs[V::kLanes], vs[V::kLanes], gammas[V::kLanes];
  low.store(lows);
  high.store(highs);
  v.store(vs);
  gamma.store(gammas);
  amplitude_gain_redo(lows, highs, vs, gammas, V::kLanes, known);
  return V::load(lows);
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
