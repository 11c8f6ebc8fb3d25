// SPDX-License-Identifier: MIT
#include "direction/phases.h"

#include <algorithm>
#include <cmath>

#include "simd/lanes.h"

namespace vekbf::direction {

namespace {

using Values = float[kMaxBinsUsed];  // of the bins that count, in their order

constexpr float kLeastPower = 0x1p-10f;  // of a microphone that has a phase
constexpr float kGrain = 192.0f;         // adding and taking it away leaves a multiple of 2^-16

struct ComplexValues {
  Values re;
  Values im;

  template <class V>
  simd::Pairs<V> load(int i) const {
    return {V::load(re + i), V::load(im + i)};
  }
  template <class V>
  void store(int i, simd::Pairs<V> c) {
    c.re.store(re + i);
    c.im.store(im + i);
  }
};

// bit-exact contract: phases and their products are multiples of 2^-16, so that no sum of their
// products is subnormal.
template <class V>
simd::Pairs<V> rounded(simd::Pairs<V> c) {
  const V grain = V::splat(kGrain);
  return {(c.re + grain) - grain, (c.im + grain) - grain};
}

// By division and square root, which are exact everywhere.
void find_phases(ComplexValues& phases, const Complex* spectrum, const ReliableBins& reliable) {
  Values inverse;
  for (int c = 0; c < reliable.count; ++c) {
    const Complex value = spectrum[reliable.bins[c]];
    phases.re[c] = value.re;
    phases.im[c] = value.im;
  }
  for (int c = 0; c < reliable.count; ++c) {
    const float power = phases.re[c] * phases.re[c] + phases.im[c] * phases.im[c];
    inverse[c] = power < kLeastPower ? 0.0f : 1.0f / std::sqrt(power);
  }
  simd::for_each_lane(reliable.count, [&](auto lane, int c) {
    using V = decltype(lane);
    phases.store(c, rounded(V::load(inverse + c) * phases.load<V>(c)));
  });
}

// bit-exact contract: the order of the sum is the same from either end of a line, so that an array
// that is mirrored gives mirrored bits.
template <class V>
simd::Pairs<V> sum_of_products(const Group& group, const ComplexValues* phases, int c) {
  const auto product = [&](int p) {
    return times_conj(phases[group.pairs[p].ahead].load<V>(c),
                      phases[group.pairs[p].behind].load<V>(c));
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

// What a row is multiplied by, weighted: odd harmonics take the imaginary part of the mean phase
// difference of a group's pairs, even ones the real part.
struct Factors {
  float odd[kMaxBinsUsed];
  float even[kMaxBinsUsed];
};

void find_factors(Factors& factors, const Group& group, const ComplexValues* phases,
                  const ReliableBins& reliable, const int32_t (&doubled)[kMostDoublings],
                  int firstBin) {
  constexpr float kShares[kMaxGroupPairs + 1] = {0.0f, 1.0f, 1.0f / 2.0f, 1.0f / 3.0f, 1.0f / 4.0f};
  const float share = kShares[group.pairCount];
  ComplexValues values;
  simd::for_each_lane(reliable.count, [&](auto lane, int c) {
    using V = decltype(lane);
    values.store(c, rounded(V::splat(share) * sum_of_products<V>(group, phases, c)));
  });
  for (const int32_t bins : doubled) {
    const int32_t* end =
        std::lower_bound(reliable.bins, reliable.bins + reliable.count, firstBin + bins);
    simd::for_each_lane(static_cast<int>(end - reliable.bins), [&](auto lane, int c) {
      using V = decltype(lane);
      const simd::Pairs<V> a = values.load<V>(c);
      values.store(c, rounded(simd::Pairs<V>{minus_product(a.re * a.re, a.im, a.im),
                                             V::splat(2.0f) * (a.re * a.im)}));
    });
  }
  simd::for_each_lane(reliable.count, [&](auto lane, int c) {
    using V = decltype(lane);
    const V weight = V::load(reliable.weights + c);
    (weight * V::load(values.im + c)).store(factors.odd + c);
    (weight * V::load(values.re + c)).store(factors.even + c);
  });
}

// The coefficients of one accumulator, in registers while rows are added to them.
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
  void add_row(const float* row, int length, float odd, float even) {
    float alternating[V::kLanes + 1];
    for (int i = 0; i <= V::kLanes; ++i) alternating[i] = i % 2 == 0 ? odd : even;
    const V factor = V::load(alternating);
#pragma GCC unroll 24
    for (int v = 0; v < kCount; ++v) {
      const int first = v * V::kLanes;
      if (first >= length) break;
      lanes[v] = plus_product(lanes[v], V::load(row + first), factor);
    }
  }
};

// Adds the rows of the groups from `first` to `end`, which share an accumulator.
void add_rows(Harmonics& harmonics, const Groups& groups, int first, int end,
              const Factors* factors, const ReliableBins& reliable, const Rows& rows,
              int firstBin) {
  HarmonicLanes sums = HarmonicLanes::of(harmonics);
  for (int c = 0; c < reliable.count; ++c) {
    const int bin = reliable.bins[c] - firstBin;
    for (int g = first; g < end; ++g) {
      const int set = groups.groups[g].rowSet;
      const float* row = rows.values + rows.start[bin][set] * kHarmonicStep;
      sums.add_row(row, rows.steps[bin][set] * kHarmonicStep, factors[g].odd[c],
                   factors[g].even[c]);
    }
  }
  sums.store(harmonics);
}

}  // namespace

void gather_phases(Evidence& evidence, const Spectrum* spectra, int mics, const float* power,
                   const ReliableBins& reliable, const Groups& groups, const Rows& rows,
                   int firstBin) {
  for (int c = 0; c < reliable.count; ++c) {
    evidence.activity = evidence.activity + reliable.weights[c];
    evidence.level = evidence.level + reliable.weights[c] * power[reliable.bins[c]];
  }
  ComplexValues phases[kMaxMics];
  for (int m = 0; m < mics; ++m) find_phases(phases[m], spectra[m], reliable);
  Factors factors[kMaxGroups];
  for (int g = 0; g < groups.count; ++g) {
    const Group& group = groups.groups[g];
    find_factors(factors[g], group, phases, reliable, rows.doubled[group.rowSet], firstBin);
  }
  // The groups of one accumulator stand side by side.
  for (int first = 0; first < groups.count;) {
    const int32_t accumulator = groups.groups[first].accumulator;
    int end = first + 1;
    while (end < groups.count && groups.groups[end].accumulator == accumulator) ++end;
    add_rows(evidence.harmonics[accumulator], groups, first, end, factors, reliable, rows,
             firstBin);
    first = end;
  }
}

}  // namespace vekbf::direction
