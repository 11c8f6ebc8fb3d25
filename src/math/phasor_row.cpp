// SPDX-License-Identifier: MIT
#include "math/phasor_row.h"

#include <cmath>

#include "base/sizes.h"
#include "math/phasor.h"

namespace vekbf {

namespace {

inline constexpr int kLast = kBinCount - 1;

float phase(int k, double step) { return static_cast<float>(static_cast<double>(k) * step); }

// Every |phi| below 2^-12: 1 - phi^2/2 rounds to 1 and phi - phi^3/6 to phi.
void fill_tiny(Complex* row, double step) {
  for (int k = 1; k <= kLast; ++k) row[k] = {1.0f, -phase(k, step)};
}

// No delay: the reference microphone of a line, in every frame. The sign of zero is kept.
void fill_constant(Complex* row, float phi) {
  const Complex value = {1.0f, -phi};
  for (int k = 1; k <= kLast; ++k) row[k] = value;
}

void fill_by_table(Complex* row, double step) {
  using D = simd::f64x2;
  const D steps = D::splat(step);
  const D four = D::splat(4.0);
  D low = D::of(1.0, 2.0);
  D high = D::of(3.0, 4.0);
  // Two independent pairs a pass hide the latency of the polynomials.
  for (int k = 1; k <= kLast; k += 4) {
    const Phasor<D> a = phasor(rounded_to_float(low * steps));
    const Phasor<D> b = phasor(rounded_to_float(high * steps));
    store_pairs(&row[k], a.re, a.im);
    store_pairs(&row[k + 2], b.re, b.im);
    low = low + four;
    high = high + four;
  }
}

}  // namespace

void fill_phasor_row_plain(Complex* row, double step) {
  for (int k = 1; k <= kLast; ++k) {
    const double phi = static_cast<double>(phase(k, step));
    row[k] = {static_cast<float>(std::cos(phi)), -static_cast<float>(std::sin(phi))};
  }
}

void fill_phasor_row(Complex* row, double step) {
  const float largest = std::fabs(phase(kLast, step));
  if (step == 0.0) {
    fill_constant(row, phase(1, step));
  } else if (largest < kPhasorTiny) {
    fill_tiny(row, step);
  } else if (largest <= kPhasorLimit) {
    fill_by_table(row, step);
  } else {
    fill_phasor_row_plain(row, step);
  }
}

}  // namespace vekbf
