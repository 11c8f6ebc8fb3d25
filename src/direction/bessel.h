// SPDX-License-Identifier: MIT
#pragma once

namespace vekbf::direction {

inline constexpr int kBesselStart = 40;  // order from which the recurrence goes down

// Fills orders[0] to orders[kBesselStart] with numbers in the proportion of J_n(x) of the first
// kind, and returns the divisor that makes them J_n(x). For 2^-6 <= x <= 16.
//
// Backward recurrence (J. C. P. Miller, "Bessel functions, part II", 1952) normalised by
// J_0 + 2 (J_2 + J_4 + ...) = 1. bit-exact contract: sums, products and quotients only, so that the
// rows of the table do not depend on the mathematics library.
double bessel_orders(double x, double (&orders)[kBesselStart + 1]);

// sin(x) / x from the same numbers: the expansion of sin(x cos theta) at theta = 0. bit-exact
// contract: as above.
double sine_quotient(double x, const double (&orders)[kBesselStart + 1], double divisor);

}  // namespace vekbf::direction
