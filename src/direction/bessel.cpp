// SPDX-License-Identifier: MIT
#include "direction/bessel.h"

namespace vekbf::direction {

double bessel_orders(double x, double (&orders)[kBesselStart + 1]) {
  double above = 0.0;
  orders[kBesselStart] = 1.0;
  for (int n = kBesselStart; n >= 1; --n) {
    orders[n - 1] = (2.0 * n / x) * orders[n] - above;
    above = orders[n];
  }
  double sum = 0.0;
  for (int n = kBesselStart; n >= 2; n -= 2) sum = sum + orders[n];
  return 2.0 * sum + orders[0];
}

double sine_quotient(double x, const double (&orders)[kBesselStart + 1], double divisor) {
  double sine = 0.0;
  for (int n = kBesselStart - 1; n >= 1; n -= 2) {
    sine = n % 4 == 1 ? sine + orders[n] : sine - orders[n];
  }
  return ((2.0 * sine) / divisor) / x;
}

}  // namespace vekbf::direction
