// SPDX-License-Identifier: MIT
#include "direction/rows.h"

#include <algorithm>

#include "direction/bessel.h"

namespace vekbf::direction {

namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr double kLeastKappa = 0x1p-6;   // below it all directions look alike
constexpr double kMostKappa = 16.0;      // above it a phase has too many turns
constexpr double kMostSharpened = 3.33;  // up to it a phase may be taken several times
constexpr double kGrain = 0x1p20;        // factors are multiples of its reciprocal

int doublings_of(double kappa) {
  int doublings = 0;
  while (doublings < kMostDoublings && (2 << doublings) * kappa <= kMostSharpened) ++doublings;
  return doublings;
}

int harmonics_of(double kappa) { return std::min(kHarmonics, 5 + static_cast<int>(1.2 * kappa)); }

// In steps of the reciprocal of `steps`, to the nearest.
int32_t in_steps(double value, double steps) {
  const double half = value < 0 ? -0.5 : 0.5;
  return static_cast<int32_t>(value * steps + half);
}

// bit-exact contract: multiples of 2^-20, so that no sum of their products is subnormal.
float rounded_to_grain(double value) {
  return static_cast<float>(static_cast<double>(in_steps(value, kGrain)) / kGrain);
}

int16_t diffuse_coherence(double kappa) {
  double orders[kBesselStart + 1];
  const double divisor = bessel_orders(kappa, orders);
  return static_cast<int16_t>(in_steps(sine_quotient(kappa, orders, divisor), kCoherenceSteps));
}

int steps_of(double kappa) { return (harmonics_of(kappa) + kHarmonicStep - 1) / kHarmonicStep; }

void fill_row(float* row, int length, double kappa, int32_t groupCount) {
  double orders[kBesselStart + 1];
  const double divisor = bessel_orders(kappa, orders);
  const int harmonics = harmonics_of(kappa);
  for (int n = 1; n <= length; ++n) {
    const double value = (2.0 * (orders[n] / divisor)) / static_cast<double>(groupCount);
    const bool negative = n % 4 >= 2;
    row[n - 1] = n > harmonics ? 0.0f : rounded_to_grain(negative ? -value : value);
  }
}

// Calls `row` with the bin (from the first that can count), the row set, the doublings and the
// kappa before them of each row there is, in the order of the table.
template <class Row>
void for_each_row(const Groups& groups, const Constants& constants, uint32_t sampleRate,
                  int32_t soundSpeed, Row&& row) {
  bool used[kMaxGroups] = {};
  for (int g = 0; g < groups.count; ++g) used[groups.groups[g].rowSet] = true;
  for (int32_t k = constants.firstBin; k <= constants.lastBin; ++k) {
    for (int set = 0; set < groups.rowSetCount; ++set) {
      if (!used[set]) continue;
      const double unit = ((kTwoPi * static_cast<double>(sampleRate)) * groups.rowDistances[set]) /
                          (static_cast<double>(kFrameSize) * static_cast<double>(soundSpeed));
      const double kappa = static_cast<double>(k) * unit;
      if (!(kappa >= kLeastKappa && kappa <= kMostKappa)) continue;
      row(k - constants.firstBin, set, doublings_of(kappa), kappa);
    }
  }
}

}  // namespace

bool has_rows(const Groups& groups, const Constants& constants, uint32_t sampleRate,
              int32_t soundSpeed) {
  int floats = 0;
  for_each_row(groups, constants, sampleRate, soundSpeed,
               [&](int32_t, int, int doublings, double kappa) {
                 floats += steps_of((1 << doublings) * kappa) * kHarmonicStep;
               });
  return floats > 0 && floats <= kRowFloats;  // GCOVR_EXCL_BR_LINE: no array needs more
}

void fill_rows(Rows& rows, const Groups& groups, const Constants& constants, uint32_t sampleRate,
               int32_t soundSpeed) {
  int end = 0;
  for_each_row(groups, constants, sampleRate, soundSpeed,
               [&](int32_t bin, int set, int doublings, double kappa) {
                 const double sharpened = (1 << doublings) * kappa;
                 const int steps = steps_of(sharpened);
                 rows.start[bin][set] = static_cast<uint16_t>(end / kHarmonicStep);
                 rows.steps[bin][set] = static_cast<uint8_t>(steps);
                 for (int i = 0; i < doublings; ++i) rows.doubled[set][i] = bin + 1;
                 rows.diffuse[set][constants.firstBin + bin] = diffuse_coherence(kappa);
                 fill_row(rows.values + end, steps * kHarmonicStep, sharpened, groups.count);
                 end += steps * kHarmonicStep;
               });
}

}  // namespace vekbf::direction
