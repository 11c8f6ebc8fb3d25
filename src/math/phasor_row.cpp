// SPDX-License-Identifier: MIT
#include "math/phasor_row.h"

#include <algorithm>
#include <cmath>

#include "math/phasor.h"
#include "math/phasor_at.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

namespace {

inline constexpr int kLast = kBinCount - 1;

float phase(int k, double step) { return static_cast<float>(static_cast<double>(k) * step); }

// Every |phi| below 2^-12: 1 - phi^2/2 rounds to 1 and phi - phi^3/6 to phi.
void fill_tiny(Complex* row, double step, int first) {
  for (int k = first; k <= kLast; ++k) row[k] = {1.0f, -phase(k, step)};
}

// No delay: the reference microphone of a line, in every frame. The sign of zero is kept.
void fill_constant(Complex* row, float phi, int first) {
  const Complex value = {1.0f, -phi};
  for (int k = first; k <= kLast; ++k) row[k] = value;
}

// One by one: phases beyond the table's domain, and what is no whole number of groups.
void fill_one_by_one(Complex* row, double step, int first) {
  for (int k = first; k <= kLast; ++k) row[k] = phasor_at(phase(k, step));
}

// A whole number of groups. Phases below kPhasorTiny come out by the table too: in its first
// direction their cosine rounds to 1 and their sine to themselves.
void fill_by_table(Complex* row, double step, int first) {
  using V = simd::Widest;
  float indices[V::kLanes];
  for (int i = 0; i < V::kLanes; ++i) indices[i] = static_cast<float>(first + i);
  V index = V::load(indices);
  const V stride = V::splat(V::kLanes);
  auto steps = decltype(widen(index))::splat(step);
  for (int k = first; k <= kLast; k += V::kLanes) {
    store_pairs(&row[k], phasor(narrow(widen(index) * steps)));
    index = index + stride;
  }
}

}  // namespace

void fill_phasor_row(Complex* row, double step, int first) {
  const float largest = std::fabs(phase(kLast, step));
  if (step == 0.0) {
    fill_constant(row, phase(1, step), first);
  } else if (largest < kPhasorTiny) {
    fill_tiny(row, step, first);
  } else if (largest <= kPhasorLimit && (kLast + 1 - first) % simd::Widest::kLanes == 0) {
    fill_by_table(row, step, first);
  } else {
    fill_one_by_one(row, step, first);
  }
}

int derive_phasor_row(Complex* row, double step, const Complex* other, double other_step) {
  // Steps of 0 and -0 are equal but for the signs in their rows.
  if (step == 0.0) return 1;
  if (step == other_step) {
    std::copy_n(other + 1, kLast, row + 1);
    return kBinCount;
  }
  if (step == -other_step) {
    for (int k = 1; k <= kLast; ++k) row[k] = {other[k].re, -other[k].im};
    return kBinCount;
  }
  if (step == 2.0 * other_step) {
    // k step is the same double as 2 k other_step.
    for (int k = 1; k <= kLast / 2; ++k) row[k] = other[2 * k];
    return kLast / 2 + 1;
  }
  return 1;
}

void fill_phasor_rows(Spectrum* rows, const double* steps, int count) {
  for (int m = 0; m < count; ++m) {
    rows[m][0] = {1.0f, -0.0f};  // -0 is what the other bins give for no delay
    int first = 1;
    for (int other = 0; other < m && first == 1; ++other) {
      first = derive_phasor_row(rows[m], steps[m], rows[other], steps[other]);
    }
    if (first < kBinCount) fill_phasor_row(rows[m], steps[m], first);
  }
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
