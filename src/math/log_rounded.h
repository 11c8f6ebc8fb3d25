// SPDX-License-Identifier: MIT
//
// The natural logarithm of a float, to the float that the double-precision library function gives
// after rounding, in lanes.
//
// a = 2^e m with m between 0.7 and 1.4; with the table's reciprocal c of the cell of m, r = m c - 1
// is exact and |r| < 2^-7.4 (2^-7 beside 1):
//   log a = e log 2 - log c + r - r^2/2 + r^3/3 - r^4/4 + r^5/5 - r^6/6
// Error: at most half a unit of 2^-53 each from the sum e log 2 - log c, whose first constant has
// so few bits that its product with e is exact, and from the final addition (relative to the
// result where that sum is zero); next term r^7/7 < 1e-16, and 2e-16 in all. That does not prove
// the rounded float; log_rounded_slow_test compares every float of the domain with the library
// function. A correctly rounded logarithm would not do: the library's double lies on the other side
// of a midpoint once.
#pragma once

#include <cstddef>

#include "base/target.h"
#include "math/log_table.h"
#include "simd/lanes.h"

namespace vekbf {

// The domain: the a-priori SNR plus one.
inline constexpr float kLogLowest = 0.985f;
inline constexpr float kLogHighest = 1010.0f;

// The definition, for any float.
float log_rounded_plain(float a);

inline namespace VEKBF_TARGET {

template <class V>
[[gnu::always_inline]] inline V log_rounded(V a) {
  using namespace simd;
  using I = decltype(bits_of(a));
  using W = decltype(widen(a));
  const auto c = [](double value) { return W::splat(value); };

  const I bits = bits_of(a);
  const I offset = bits - I::splat(kLogTableFirst);
  const I exponent = shifted_right<23>(offset);
  size_t entries[V::kLanes];
  static_assert(sizeof(kLogTable[0]) == 1 << 4);
  offsets_of(shifted_right<12>(offset) & I::splat((kLogTableSize - 1) << 4), entries);
  W inverse, log_middle;
  load_columns(kLogTable, entries, inverse, log_middle);

  const double kLog2High = 0x1.62e42fefa3800p-1;
  const double kLog2Low = 0x1.ef35793c76730p-45;
  W m = widen(float_of_bits(bits - shifted_left<23>(exponent)));
  W e = widen(to_float(exponent));
  W r = m * inverse - c(1.0);
  W r2 = r * r;
  W p = (c(-1.0 / 2) + r * c(1.0 / 3)) + r2 * ((c(-1.0 / 4) + r * c(1.0 / 5)) + r2 * c(-1.0 / 6));
  return narrow((e * c(kLog2High) + log_middle) + (r + (r2 * p + e * c(kLog2Low))));
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
