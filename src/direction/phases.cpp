// SPDX-License-Identifier: MIT
#include "direction/phases.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "simd/lanes.h"

namespace vekbf::direction {

namespace {

using Values = float[kMaxBinsUsed];  // of the bins that count, in their order

constexpr float kLeastPower = 0x1p-10f;  // of a microphone, below which it has no phase
constexpr float kLeastRest = 0x1p-20f;   // squared, of a mean without late reverberation
constexpr float kLateShare = 2.0f;       // of the estimate, taken off
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

// Makes each value the inverse of its square root: by division and square root, which are exact
// everywhere.
void invert_roots(Values& values, int count) {
#pragma GCC unroll 4
  for (int c = 0; c < count; ++c) values[c] = 1.0f / std::sqrt(values[c]);
}

// The squared magnitude, or where that is less than `least` the infinity, of which the inverse
// square root is 0.
template <class V>
V square_or_infinity(simd::Pairs<V> value, float least) {
  const V square = plus_product(value.re * value.re, value.im, value.im);
  const V infinity = V::splat(std::numeric_limits<float>::infinity());
  return select(greater_equal(square, V::splat(least)), square, infinity);
}

void find_phases(ComplexValues& phases, const Complex* spectrum, const ReliableBins& reliable) {
  Values inverse;
  for (int c = 0; c < reliable.count; ++c) {
    const Complex value = spectrum[reliable.bins[c]];
    phases.re[c] = value.re;
    phases.im[c] = value.im;
  }
  simd::for_each_lane(reliable.count, [&](auto lane, int c) {
    using V = decltype(lane);
    square_or_infinity(phases.load<V>(c), kLeastPower).store(inverse + c);
  });
  invert_roots(inverse, reliable.count);
  simd::for_each_lane(reliable.count, [&](auto lane, int c) {
    using V = decltype(lane);
    phases.store(c, rounded(V::load(inverse + c) * phases.load<V>(c)));
  });
}

// The mean phase differences of a group's pairs. bit-exact contract: the order of the sum is the
// same from either end of a line, so that an array that is mirrored gives mirrored bits.
template <int kPairs>
void find_means(ComplexValues& means, const Group& group, const ComplexValues* phases, int count) {
  constexpr float kShare = 1.0f / static_cast<float>(kPairs);
  const ComplexValues* ahead[kPairs];
  const ComplexValues* behind[kPairs];
  for (int p = 0; p < kPairs; ++p) {
    ahead[p] = &phases[group.pairs[p].ahead];
    behind[p] = &phases[group.pairs[p].behind];
  }
  simd::for_each_lane(count, [&](auto lane, int c) {
    using V = decltype(lane);
    const auto product = [&](int p) {
      return times_conj(ahead[p]->template load<V>(c), behind[p]->template load<V>(c));
    };
    simd::Pairs<V> sum = product(0);
    if constexpr (kPairs == 2) sum = sum + product(1);
    if constexpr (kPairs == 3) sum = (sum + product(2)) + product(1);
    if constexpr (kPairs == 4) sum = (sum + product(3)) + (product(1) + product(2));
    means.store(c, rounded(V::splat(kShare) * sum));
  });
}

void find_means(ComplexValues& means, const Group& group, const ComplexValues* phases, int count) {
  switch (group.pairCount) {
    case 1:
      return find_means<1>(means, group, phases, count);
    case 2:
      return find_means<2>(means, group, phases, count);
    case 3:
      return find_means<3>(means, group, phases, count);
    default:
      return find_means<4>(means, group, phases, count);
  }
}

// The share of late reverberation in the power of each bin that counts.
void find_late_shares(Values& shares, const float* power, const float* late,
                      const ReliableBins& reliable) {
  for (int c = 0; c < reliable.count; ++c) {
    const int32_t k = reliable.bins[c];
    shares[c] = kLateShare * late[k] / power[k];
  }
}

// Subtracts late reverberation from the mean phase differences of a group's pairs, and makes each
// of them a phase again. A mean of 0 stays 0.
void take_off_late(ComplexValues& means, const Values& lateShares, const int16_t* diffuse,
                   const ReliableBins& reliable) {
  constexpr float kStep = 1.0f / static_cast<float>(kCoherenceSteps);
  Values coherence;
  Values inverse;
#pragma GCC unroll 4
  for (int c = 0; c < reliable.count; ++c) {
    coherence[c] = static_cast<float>(diffuse[reliable.bins[c]]);
  }
  simd::for_each_lane(reliable.count, [&](auto lane, int c) {
    using V = decltype(lane);
    const simd::Pairs<V> mean = means.load<V>(c);
    const V late = V::load(coherence + c) * V::splat(kStep) * V::load(lateShares + c);
    const simd::Pairs<V> rest = {mean.re - late, mean.im};
    const V none = V::splat(std::numeric_limits<float>::infinity());
    const V any = plus_product(mean.re * mean.re, mean.im, mean.im);
    select(greater(any, V::splat(0.0f)), square_or_infinity(rest, kLeastRest), none)
        .store(inverse + c);
    rest.re.store(means.re + c);
  });
  invert_roots(inverse, reliable.count);
  simd::for_each_lane(reliable.count, [&](auto lane, int c) {
    using V = decltype(lane);
    means.store(c, rounded(V::load(inverse + c) * means.load<V>(c)));
  });
}

// What a row is multiplied by, weighted: odd harmonics take the imaginary part of the mean phase
// difference of a group's pairs, even ones the real part.
struct Factors {
  float odd[kMaxBinsUsed];
  float even[kMaxBinsUsed];
};

void find_factors(Factors& factors, const Group& group, const ComplexValues* phases,
                  const ReliableBins& reliable, const Values& lateShares, const Rows& rows,
                  int firstBin) {
  ComplexValues values;
  find_means(values, group, phases, reliable.count);
  take_off_late(values, lateShares, rows.diffuse[group.rowSet], reliable);
  for (const int32_t bins : rows.doubled[group.rowSet]) {
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
                   const float* late, const ReliableBins& reliable, const Groups& groups,
                   const Rows& rows, int firstBin) {
  for (int c = 0; c < reliable.count; ++c) {
    evidence.activity = evidence.activity + reliable.weights[c];
    evidence.level = evidence.level + reliable.weights[c] * power[reliable.bins[c]];
  }
  ComplexValues phases[kMaxMics];
  for (int m = 0; m < mics; ++m) find_phases(phases[m], spectra[m], reliable);
  Values lateShares;
  find_late_shares(lateShares, power, late, reliable);
  Factors factors[kMaxGroups];
  for (int g = 0; g < groups.count; ++g) {
    find_factors(factors[g], groups.groups[g], phases, reliable, lateShares, rows, firstBin);
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
