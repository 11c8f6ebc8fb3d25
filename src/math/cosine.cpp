// SPDX-License-Identifier: MIT
//
// The nearest of 256 directions by table, the rest by a short polynomial (P. T. P. Tang,
// "Table-driven implementation of the exponential function", ACM TOMS 15 (1989), shows the method):
// with n near x 256 / (2 pi) and r = x - n 2 pi / 256,
//   cos x = C + (C (cos r - 1) - S sin r),  C and S the cosine and sine of direction n.
// The large terms are sums of two doubles (T. J. Dekker, "A floating-point technique for extending
// the available precision", Numer. Math. 18 (1971)), so that the error before the last rounding
// stays below 2^-73 of a result near one, and 2^-66 of a result near zero: there r is the result,
// and is reduced with 119 bits of 2 pi / 256.
//
// bit-exact contract: without fused instructions every step is one rounding of double precision.
#include "math/cosine.h"

#include <cmath>
#include <cstdint>
#include <limits>

#include "math/cosine_table.h"

namespace vekbf {

namespace {

DoubleDouble negated(DoubleDouble a) { return {-a.high, -a.low}; }

// a + b without error.
DoubleDouble exact_sum(double a, double b) {
  const double sum = a + b;
  const double part = sum - a;
  return {sum, (a - (sum - part)) + (b - part)};
}

// A double as the sum of two of 26 bits.
DoubleDouble halves(double a) {
  const double scaled = a * 0x1.000002p27;
  const double high = scaled - (scaled - a);
  return {high, a - high};
}

// a * b without error.
DoubleDouble exact_product(double a, double b) {
  const double product = a * b;
  const DoubleDouble x = halves(a);
  const DoubleDouble y = halves(b);
  const double error = ((x.high * y.high - product) + x.high * y.low + x.low * y.high);
  return {product, error + x.low * y.low};
}

// x - n 2 pi / 256. n has 31 bits at most, so that its products with the first three parts are
// exact, and so is the first difference, of two numbers of one size.
DoubleDouble remainder(double x, double n) {
  const double near = x - n * kDirectionStep[0];
  const DoubleDouble nearer = exact_sum(near, -(n * kDirectionStep[1]));
  const DoubleDouble nearest = exact_sum(nearer.high, -(n * kDirectionStep[2]));
  const double low = (nearest.low + nearer.low) - n * kDirectionStep[3];
  return exact_sum(nearest.high, low);
}

struct Direction {
  DoubleDouble cosine;
  DoubleDouble sine;
};

Direction direction(int32_t n) {
  const int32_t q = n & (kQuarterTurn - 1);
  Direction d = {kQuarterSines[kQuarterTurn - q], kQuarterSines[q]};
  if ((n & kQuarterTurn) != 0) d = {negated(d.sine), d.cosine};
  if ((n & (2 * kQuarterTurn)) != 0) d = {negated(d.cosine), negated(d.sine)};
  return d;
}

}  // namespace

double cosine(double x) {
  if (!(std::fabs(x) <= kCosineLimit)) return std::numeric_limits<double>::quiet_NaN();
  constexpr double kDirectionsPerRadian = 0x1.45f306dc9c883p+5;
  constexpr double kRound = 0x1.8p52;  // adding and taking it away leaves the nearest integer
  const double n = (x * kDirectionsPerRadian + kRound) - kRound;
  const DoubleDouble r = remainder(x, n);
  const Direction d = direction(static_cast<int32_t>(n));

  // sin r = r.high + sine_low; cos r - 1 = versine_high + versine_low.
  const DoubleDouble square = exact_product(r.high, r.high);
  const double z = square.high;
  const double z_low = square.low + 2.0 * r.high * r.low;
  const double sine_low = r.low + r.high * z * (z * (1.0 / 120 - z * (1.0 / 5040)) - 1.0 / 6);
  const double versine_high = -0.5 * z;
  const double versine_low = z * z * (1.0 / 24 - z * (1.0 / 720 - z * (1.0 / 40320))) - 0.5 * z_low;

  const DoubleDouble turned = exact_product(d.sine.high, r.high);
  const DoubleDouble shortened = exact_product(d.cosine.high, versine_high);
  const DoubleDouble first = exact_sum(d.cosine.high, -turned.high);
  const DoubleDouble second = exact_sum(first.high, shortened.high);
  const double products = (d.cosine.high * versine_low + d.cosine.low * versine_high) -
                          (d.sine.high * sine_low + d.sine.low * r.high);
  const double low =
      (first.low + second.low) + ((d.cosine.low + (shortened.low - turned.low)) + products);
  return second.high + low;
}

}  // namespace vekbf
