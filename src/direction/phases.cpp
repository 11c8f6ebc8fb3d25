// SPDX-License-Identifier: MIT
#include "direction/phases.h"

#include <cmath>

#include "simd/lanes.h"

namespace vekbf::direction {

namespace {

constexpr float kLeastPower = 0x1p-10f;  // of a microphone that has a phase
constexpr float kGrain = 192.0f;         // adding and taking it away leaves a multiple of 2^-16

// bit-exact contract: by division and square root, which are exact everywhere, and to multiples of
// 2^-16, so that no sum of products is subnormal.
Complex phase_of(Complex value) {
  const float power = value.re * value.re + value.im * value.im;
  if (power < kLeastPower) return {0.0f, 0.0f};
  const float inverse = 1.0f / std::sqrt(power);
  return {(value.re * inverse + kGrain) - kGrain, (value.im * inverse + kGrain) - kGrain};
}

Complex times_conjugate(Complex a, Complex b) {
  return {a.re * b.re + a.im * b.im, a.im * b.re - a.re * b.im};
}

Complex operator+(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }

// bit-exact contract: the order of the sum is the same from either end of a line, so that an array
// that is mirrored gives mirrored bits.
Complex sum_of_products(const Group& group, const Complex (&phases)[kMaxMics]) {
  const auto product = [&](int p) {
    return times_conjugate(phases[group.pairs[p].ahead], phases[group.pairs[p].behind]);
  };
  switch (group.pairCount) {
    case 1:
      return product(0);
    case 2:
      return product(0) + product(1);
    case 3:
      return (product(0) + product(2)) + product(1);
    default:
      return (product(0) + product(3)) + (product(1) + product(2));
  }
}

// The coefficients of one accumulator, in registers while a bin's rows are added to them.
struct HarmonicLanes {
  using V = simd::f32x4;
  static constexpr int kCount = kHarmonics / V::kLanes;
  static_assert(kHarmonics % V::kLanes == 0 && kHarmonicStep % V::kLanes == 0);

  V lanes[kCount];

  static HarmonicLanes of(const Harmonics& harmonics) {
    HarmonicLanes sums;
    for (int v = 0; v < kCount; ++v) sums.lanes[v] = V::load(harmonics + v * V::kLanes);
    return sums;
  }
  void store(Harmonics& harmonics) const {
    for (int v = 0; v < kCount; ++v) lanes[v].store(harmonics + v * V::kLanes);
  }
  // Odd harmonics take the imaginary part, even ones the real part.
  void add_row(const float* row, int length, Complex factor) {
    float alternating[V::kLanes + 1];
    for (int i = 0; i <= V::kLanes; ++i) alternating[i] = i % 2 == 0 ? factor.im : factor.re;
    const V even = V::load(alternating);
#pragma GCC unroll 24
    for (int v = 0; v < kCount; ++v) {
      const int first = v * V::kLanes;
      if (first >= length) break;
      lanes[v] = plus_product(lanes[v], V::load(row + first), even);
    }
  }
};

}  // namespace

void gather_phases(Evidence& evidence, const Spectrum* spectra, int mics, const float* power,
                   const ReliableBins& reliable, const Groups& groups, const Rows& rows,
                   int firstBin) {
  for (int c = 0; c < reliable.count; ++c) {
    const int k = reliable.bins[c];
    const float weight = reliable.weights[c];
    Complex phases[kMaxMics];
    for (int m = 0; m < mics; ++m) phases[m] = phase_of(spectra[m][k]);
    evidence.activity = evidence.activity + weight;
    evidence.level = evidence.level + weight * power[k];

    const uint8_t* steps = rows.steps[k - firstBin];
    const float* setRows[kMaxGroups];
    const float* row = rows.values + rows.start[k - firstBin] * kHarmonicStep;
    for (int set = 0; set < groups.rowSetCount; ++set) {
      setRows[set] = row;
      row += steps[set] * kHarmonicStep;
    }
    // The groups of one accumulator stand side by side.
    for (int g = 0; g < groups.count;) {
      const int32_t accumulator = groups.groups[g].accumulator;
      Harmonics& harmonics = evidence.harmonics[accumulator];
      HarmonicLanes sums = HarmonicLanes::of(harmonics);
      for (; g < groups.count && groups.groups[g].accumulator == accumulator; ++g) {
        const Group& group = groups.groups[g];
        const int length = steps[group.rowSet] * kHarmonicStep;
        if (length == 0) continue;
        const Complex sum = sum_of_products(group, phases);
        sums.add_row(setRows[group.rowSet], length, {weight * sum.re, weight * sum.im});
      }
      sums.store(harmonics);
    }
  }
}

}  // namespace vekbf::direction
