// SPDX-License-Identifier: MIT
//
// The parts of the finder against what they stand for: Bessel functions of the C library, plain
// sums of cosines, sectors by looking at every degree.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "direction/bessel.h"
#include "direction/constants.h"
#include "direction/cosines.h"
#include "direction/finder.h"
#include "direction/scene.h"
#include "support/random.h"

namespace vekbf::test {
namespace {

using namespace vekbf::direction;

constexpr double kPi = 3.14159265358979323846;

TEST(DirectionSizes, MemoryOfTheSharedPartsSuffices) {
  EXPECT_LE(fft_plan_bytes(kFrameSize), kPlanBytes);
  EXPECT_LE(mcra2_bytes({16000, kBinCount}), kEstimatorBytes);
}

TEST(DirectionSizes, BandFitsAtEveryRate) {
  int most = 0;
  for (uint32_t rate = 8000; rate <= 48000; ++rate) {
    const Constants c = constants_of(rate);
    most = std::max(most, c.lastBin - c.firstBin + 1);
    ASSERT_GE(c.firstBin, 1) << rate;
    ASSERT_LT(c.lastBin, kBinCount) << rate;
    ASSERT_LE(c.lateLag, kMaxLag) << rate;
    ASSERT_GE(c.transformsPerUpdate, 1) << rate;
    ASSERT_LE(c.transformsPerUpdate, kMaxTransformsPerUpdate) << rate;
  }
  EXPECT_EQ(most, kMaxBandBins);
}

TEST(DirectionConstants, MeanTheSameTimeAtEveryRate) {
  for (const uint32_t rate : {8000u, 11025u, 16000u, 22050u, 44100u, 48000u}) {
    const Constants c = constants_of(rate);
    const double hop = 256.0 / rate;
    // A recursive mean forgets by its coefficient in each transform. Below 16 kHz the estimator
    // counts transforms, not time.
    const double estimatorHop = 256.0 / std::max(rate, 16000u);
    const auto time_constant = [](float coefficient, double step) {
      const auto x = static_cast<double>(coefficient);
      return step * x / (1 - x);
    };
    const auto seconds = [&](float x) { return time_constant(x, estimatorHop); };
    EXPECT_NEAR(seconds(c.smoothing), 0.03, 0.001) << rate;
    EXPECT_NEAR(seconds(c.minimumForgetting), 4.0, 0.01) << rate;
    EXPECT_NEAR(seconds(c.noiseFloorFactor), 0.148, 0.001) << rate;
    EXPECT_NEAR(time_constant(c.lateDecay, hop), 0.0147, 0.0001) << rate;
    EXPECT_NEAR(c.settlingTransforms * estimatorHop, 0.192, estimatorHop) << rate;
    const double update = c.transformsPerUpdate * hop;
    EXPECT_NEAR(update, 0.032, 0.011) << rate;
    // 4 dB in a second.
    EXPECT_NEAR(10 * std::log10(static_cast<double>(c.levelFade)) / update, -4.0, 0.15) << rate;
    EXPECT_NEAR(hold_updates(0, rate, c.transformsPerUpdate) * update, 0.13, update / 2) << rate;
    EXPECT_NEAR(static_cast<double>(c.firstBin) * rate / 512.0, 200.0, rate / 512.0) << rate;
  }
  EXPECT_NEAR(10 * std::log10(static_cast<double>(focus_ratio(0))), -15.0, 1e-5);
  EXPECT_NEAR(10 * std::log10(static_cast<double>(focus_ratio(96))), -96.0, 1e-5);
  EXPECT_EQ(hold_updates(1, 16000, 2), 0);
  EXPECT_EQ(hold_updates(VEK_DIR_MAX_HOLD_MS, 48000, 6), 313);
}

TEST(DirectionBessel, EqualsTheLibraryFunction) {
  for (double x = 0x1p-6; x <= 16.0; x = x * 1.01 + 0.001) {
    double orders[kBesselStart + 1];
    const double divisor = bessel_orders(x, orders);
    for (int n = 0; n <= kHarmonics; ++n) {
      ASSERT_NEAR(orders[n] / divisor, jn(n, x), 1e-12) << n << " " << x;
    }
  }
}

TEST(DirectionBessel, GivesTheSineQuotient) {
  for (double x = 0x1p-6; x <= 16.0; x = x * 1.01 + 0.001) {
    double orders[kBesselStart + 1];
    const double divisor = bessel_orders(x, orders);
    ASSERT_NEAR(sine_quotient(x, orders, divisor), std::sin(x) / x, 1e-12) << x;
  }
}

TEST(DirectionCosines, AreRounded) {
  for (int d = 0; d < 2 * 360; ++d) {
    EXPECT_NEAR(static_cast<double>(cosine_of_degrees(d)), std::cos(d * kPi / 180), 0x1p-25);
    EXPECT_NEAR(static_cast<double>(sine_of_degrees(d)), std::sin(d * kPi / 180), 0x1p-25);
  }
}

// What a group's rows make of the phase of a source is the steered response: largest where the
// source is, and equal to cos(kappa (cos theta - cos source)) less its mean, of the phase that is
// taken once, twice, four or eight times as long as it cannot turn round.
TEST(DirectionRows, SteerAPhaseToItsSource) {
  const VekBfInit array = line_array(16000, {0.0f, 0.1f});
  const Groups groups = groups_of(array);
  const Constants c = constants_of(array.sampleRate);
  static Rows rows;
  rows = {};
  fill_rows(rows, groups, c, array.sampleRate, array.soundSpeed);
  for (int k = c.firstBin; k <= c.lastBin; k += 9) {
    const double once = 2 * kPi * k * 16000 / 512 * static_cast<double>(0.1f) / 343;
    int doublings = 0;
    for (const int32_t bins : rows.doubled[0]) doublings += k - c.firstBin < bins;
    const double kappa = once * (1 << doublings);
    EXPECT_TRUE(doublings == 0 || kappa <= 3.33) << k;
    EXPECT_TRUE(doublings == 3 || 2 * kappa > 3.33) << k;
    const int length = rows.steps[k - c.firstBin][0] * kHarmonicStep;
    ASSERT_EQ(length > 0, once <= 16.0);
    const double coherence = length > 0 ? std::sin(once) / once : 0.0;
    EXPECT_NEAR(rows.diffuse[0][k], coherence * kCoherenceSteps, 0.51) << k;
    if (length == 0) continue;
    const float* row = rows.values + rows.start[k - c.firstBin][0] * kHarmonicStep;
    for (const int source : {0, 30, 77, 90, 140}) {
      const double phase = kappa * std::cos(source * kPi / 180);
      Harmonics harmonics = {};
      for (int n = 1; n <= length; ++n) {
        harmonics[n - 1] = static_cast<float>(static_cast<double>(row[n - 1]) *
                                              (n % 2 == 1 ? std::sin(phase) : std::cos(phase)));
      }
      float map[kCircleDegrees];
      draw_line(map, harmonics);
      const double mean = j0(kappa) * std::cos(phase);
      for (int d = 0; d <= 180; ++d) {
        const double expected = std::cos(kappa * std::cos(d * kPi / 180) - phase) - mean;
        ASSERT_NEAR(static_cast<double>(map[d]), expected, 2e-3) << k << " " << source << " " << d;
      }
    }
  }
}

int floats_of(const VekBfInit& array) {
  const Groups groups = groups_of(array);
  const Constants c = constants_of(array.sampleRate);
  static Rows rows;
  rows = {};
  if (!has_rows(groups, c, array.sampleRate, array.soundSpeed)) return 0;
  fill_rows(rows, groups, c, array.sampleRate, array.soundSpeed);
  int end = 0;
  for (int bin = 0; bin <= c.lastBin - c.firstBin; ++bin) {
    for (int set = 0; set < groups.rowSetCount; ++set) end += rows.steps[bin][set] * kHarmonicStep;
  }
  return end;
}

// The widest tables are those of two close pairs whose other displacements reach kappa 16 at the
// last bin. None is refused for its size: a millimetre apart, any array that has a row is taken.
TEST(DirectionRows, TableHoldsEveryLine) {
  const uint64_t seed = test_seed(5);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  int most = 0;
  for (int i = 0; i < 3000; ++i) {
    const uint32_t rate =
        random.below(2) == 0 ? 15556u : 8000u + static_cast<uint32_t>(random.below(40001));
    const Constants c = constants_of(rate);
    const double full = 16.0 * 512 * 343 / (2 * kPi * c.lastBin * rate);  // metres
    const auto length = [&](double share) { return static_cast<float>(full * share); };
    const float a = length(0.001 + 0.1 * std::fabs(static_cast<double>(random.unit())));
    const float b = length(0.8 + 0.25 * std::fabs(static_cast<double>(random.unit())));
    const float e = length(0.001 + 0.1 * std::fabs(static_cast<double>(random.unit())));
    const VekBfInit array = line_array(rate, {0.0f, a, a + b, a + b + e});
    const int floats = floats_of(array);
    ASSERT_GT(floats, 0) << rate << " " << a << " " << b << " " << e;
    most = std::max(most, floats);
  }
  EXPECT_GT(most, kRowFloats * 95 / 100) << "not the widest ones";
}

TEST(DirectionMap, OfASquareIsTheSumOfItsSeries) {
  Random random(3);
  Harmonics groups[kMaxAccumulators];
  for (Harmonics& group : groups) {
    for (float& x : group) x = random.unit();
  }
  float map[kCircleDegrees];
  draw_square(map, groups);
  constexpr int kAcross[] = {135, 0, 45, 90};
  for (int d = 0; d < 360; ++d) {
    double sum = 0.0;
    for (int g = 0; g < kMaxAccumulators; ++g) {
      for (int n = 1; n <= kHarmonics; ++n) {
        sum += static_cast<double>(groups[g][n - 1]) * std::cos(n * (d - kAcross[g]) * kPi / 180);
      }
    }
    ASSERT_NEAR(static_cast<double>(map[d]), sum, 1e-4) << d;
  }
}

// Every one of the sectors, by looking at each degree.
TEST(DirectionSector, HoldsTheDegreesFromOneEndToTheOther) {
  for (int from = 0; from < 360; ++from) {
    for (int to = 0; to < 360; ++to) {
      const Sector circle = sector_of(from, to, false);
      const Sector line = sector_of(from, to, true);
      const int width = (to - from + 360) % 360;
      bool good = true;
      for (int d = 0; d < 360; ++d) {
        const bool inside = from == to || (d - from + 360) % 360 <= width;
        const bool mirrored = from == to || (360 - d - from + 360) % 360 <= width;
        good = good && is_inside(circle, d) == inside;
        if (d <= 180) good = good && is_inside(line, d) == (inside || mirrored);
      }
      ASSERT_TRUE(good) << from << " " << to;
    }
  }
}

// And whatever the map, the angle lies inside, where it is largest.
TEST(DirectionSector, EveryOneIsRespectedByTheTracker) {
  Random random(7);
  for (const bool line : {false, true}) {
    Tracker tracker;
    for (int from = 0; from < 360; ++from) {
      for (int to = from % 2; to < 360; to += 2) {
        float map[kCircleDegrees] = {};
        const int degrees = line ? kLineDegrees : kCircleDegrees;
        for (int i = 0; i < 5; ++i) map[random.below(degrees)] = 3 * random.unit();
        const Sector sector = sector_of(from, to, line);
        start_tracker(tracker, line);
        follow(tracker, map, 10.0f, sector, 4);
        ASSERT_TRUE(is_inside(sector, tracker.best)) << from << " " << to << " " << tracker.best;
        int expected = -1;
        for (int d = 0; d < degrees; ++d) {
          const float* v = tracker.evidence + kReach;
          if (is_inside(sector, d) && (expected < 0 || v[d] > v[expected])) expected = d;
        }
        ASSERT_EQ(tracker.best, expected) << from << " " << to;
      }
    }
  }
}

TEST(DirectionRun, TheAgeStaysAtTheLargestNumber) {
  std::vector<uint64_t> memory(VekDir_GetBufferSize() / sizeof(uint64_t));
  const VekBfInit array = line_array(16000, {0.0f, 0.1f});
  const VekDirHandle finder = VekDir_Init(memory.data(), &array);
  finder->age = UINT32_MAX - 1;
  const std::vector<int16_t> block(size_t{2} * VEK_BF_BLOCK_FRAMES, 1);
  for (int b = 0; b < 3; ++b) {
    VekDirState state = {};
    ASSERT_EQ(VekDir_Run(finder, block.data(), &state), static_cast<uint32_t>(VEK_DIR_OK));
    EXPECT_EQ(state.age, UINT32_MAX) << b;
  }
}

// The heaviest of each band, what a band leaves goes to the band below.
TEST(DirectionBins, AtMostSoManyAndTheHeaviest) {
  Random random(9);
  static Reliability r;
  const Constants c = constants_of(16000);
  for (int trial = 0; trial < 300; ++trial) {
    const int share = 1 + random.below(10);
    for (int k = 0; k < kBinCount; ++k) {
      r.powers[0][k] = 1000.0f;
      // Few different values, so that many are equal; some too small to have a weight.
      const float weight = static_cast<float>(1 + random.below(8)) / 8.0f;
      r.excess[k] = random.below(10) < share ? 1000.0f * weight : -5.0f;
      if (random.below(20) == 0) r.excess[k] = 1e-3f;
    }
    r.newest = 0;
    ReliableBins chosen;
    choose_bins(chosen, r, c);
    // By the words of the rule.
    const int width = (c.lastBin - c.firstBin + 1 + 11) / 12;
    std::vector<std::vector<int>> bands(12);
    int candidates = 0;
    for (int k = c.firstBin; k <= c.lastBin; ++k) {
      if (r.excess[k] < 1.0f) continue;
      bands[static_cast<size_t>((k - c.firstBin) / width)].push_back(k);
      ++candidates;
    }
    std::vector<int> expected;
    int allowance = 0;
    for (int b = 11; b >= 0; --b) {
      std::vector<int>& band = bands[static_cast<size_t>(b)];
      std::stable_sort(band.begin(), band.end(),
                       [&](int i, int j) { return r.excess[i] > r.excess[j]; });
      allowance += 8;
      const auto kept = std::min<size_t>(band.size(), static_cast<size_t>(allowance));
      if (candidates > 96) band.resize(kept);
      allowance -= static_cast<int>(kept);
      expected.insert(expected.end(), band.begin(), band.end());
    }
    std::sort(expected.begin(), expected.end());
    ASSERT_EQ(std::vector<int>(chosen.bins, chosen.bins + chosen.count), expected) << trial;
    ASSERT_LE(chosen.count, kMaxBinsUsed);
    for (int i = 0; i < chosen.count; ++i) {
      ASSERT_FLOAT_EQ(chosen.weights[i], r.excess[chosen.bins[i]] / 1000.0f);
    }
  }
}

}  // namespace
}  // namespace vekbf::test
