// SPDX-License-Identifier: MIT
#include "direction/rows.h"

#include <algorithm>

#include "direction/bessel.h"

namespace vekbf::direction {

namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr double kLeastKappa = 0x1p-6;  // below it all directions look alike
constexpr double kMostKappa = 16.0;     // above it a phase has too many turns
constexpr double kMostSharpened = 3.0;  // up to it a phase may be taken several times
constexpr double kGrain = 0x1p20;       // factors are multiples of its reciprocal

int doublings_of(double kappa) {
  int doublings = 0;
  while (doublings < kMostDoublings && (2 << doublings) * kappa <= kMostSharpened) ++doublings;
  return doublings;
}

int harmonics_of(double kappa) { return std::min(kHarmonics, 5 + static_cast<int>(1.2 * kappa)); }

// bit-exact contract: multiples of 2^-20, so that no sum of their products is subnormal.
float rounded_to_grain(double value) {
  const double half = value < 0 ? -0.5 : 0.5;
  return static_cast<float>(static_cast<double>(static_cast<int32_t>(value * kGrain + half)) /
                            kGrain);
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
// kappa that they make of each row there is, in the order of the table.
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
      const int doublings = doublings_of(kappa);
      row(k - constants.firstBin, set, doublings, (1 << doublings) * kappa);
    }
  }
}

}  // namespace

bool has_rows(const Groups& groups, const Constants& constants, uint32_t sampleRate,
              int32_t soundSpeed) {
  int floats = 0;
  for_each_row(groups, constants, sampleRate, soundSpeed,
               [&](int32_t, int, int, double kappa) { floats += steps_of(kappa) * kHarmonicStep; });
  return floats > 0 && floats <= kRowFloats;
}

void fill_rows(Rows& rows, const Groups& groups, const Constants& constants, uint32_t sampleRate,
               int32_t soundSpeed) {
  int end = 0;
  for_each_row(groups, constants, sampleRate, soundSpeed,
               [&](int32_t bin, int set, int doublings, double kappa) {
                 const int steps = steps_of(kappa);
                 rows.start[bin][set] = static_cast<uint16_t>(end / kHarmonicStep);
                 rows.steps[bin][set] = static_cast<uint8_t>(steps);
                 for (int i = 0; i < doublings; ++i) rows.doubled[set][i] = bin + 1;
                 fill_row(rows.values + end, steps * kHarmonicStep, kappa, groups.count);
                 end += steps * kHarmonicStep;
               });
}

}  // namespace vekbf::direction
