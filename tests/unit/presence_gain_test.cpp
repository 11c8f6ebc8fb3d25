// SPDX-License-Identifier: MIT
#include "bf/record_stages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "support/bits.h"
#include "support/twins.h"

namespace vekbf::test {
namespace {

struct Gains {
  Gains() : buffer(0), record(*buffer.instance()), probability(kBinCount, 0.0f) {
    record.beamPowerSmoothing = 0.95f;
    for (float& gain : record.presenceGain) gain = 1.0f;
  }
  void smooth() { smooth_presence_gain(record, probability.data()); }

  WorkBuffer buffer;
  Instance& record;
  std::vector<float> probability;
};

// From the values before the call, each with its lower neighbour updated and its upper one not.
std::vector<float> expected_gains(const Gains& before) {
  std::vector<float> old(before.record.presenceGain, before.record.presenceGain + kBinCount);
  std::vector<float> now = old;
  const float alpha = before.record.beamPowerSmoothing;
  for (size_t k = 1; k + 1 < old.size(); ++k) {
    const float new_part = (1.0f - alpha) * before.probability[k];
    const float old_part = alpha * old[k];
    const float t = new_part + old_part;
    const double sum = static_cast<double>(now[k - 1]) + static_cast<double>(old[k + 1]);
    now[k] = static_cast<float>(0.5 * static_cast<double>(t) + 0.25 * sum);
  }
  return now;
}

TEST(PresenceGain, FollowsItsFormulaOverManyFrames) {
  const uint64_t seed = test_seed(351);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  Gains gains;
  for (int frame = 0; frame < 200; ++frame) {
    // Words that come and go, band by band.
    for (size_t k = 0; k < gains.probability.size(); ++k) {
      const bool speech = (static_cast<size_t>(frame) / 20 + k / 30) % 2 == 0;
      gains.probability[k] = speech ? std::fabs(random.unit()) : 0.0f;
    }
    const std::vector<float> expected = expected_gains(gains);
    gains.smooth();
    ASSERT_TRUE(same_floats(gains.record.presenceGain, expected.data(), kBinCount)) << frame;
  }
}

TEST(PresenceGain, OfAnyValuesFollowsItsFormula) {
  const uint64_t seed = test_seed(352);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (int round = 0; round < 50; ++round) {
    Gains gains;
    for (float& gain : gains.record.presenceGain) gain = any_size(random, -60, 60);
    for (float& p : gains.probability) p = any_size(random, -60, 60);
    gains.record.beamPowerSmoothing = std::fabs(random.unit());
    const std::vector<float> expected = expected_gains(gains);
    gains.smooth();
    ASSERT_TRUE(same_floats(gains.record.presenceGain, expected.data(), kBinCount)) << round;
  }
}

// One value that dwarfs the others is still felt a hundred bins further up, wherever it stands:
// beyond what any shorter start of the recursion would remember.
TEST(PresenceGain, RemembersAHugeValueAllTheWayUp) {
  for (int spike = 0; spike < kBinCount; ++spike) {
    for (const float height : {1e30f, 1e10f, NAN, INFINITY}) {
      Gains gains;
      for (float& gain : gains.record.presenceGain) gain = 1e-20f;
      gains.record.presenceGain[spike] = height;
      const std::vector<float> expected = expected_gains(gains);
      gains.smooth();
      ASSERT_TRUE(same_floats(gains.record.presenceGain, expected.data(), kBinCount))
          << "spike of " << height << " at " << spike;
    }
  }
}

TEST(PresenceGain, FirstAndLastBinAreNeverUpdated) {
  Gains gains;
  for (int frame = 0; frame < 100; ++frame) gains.smooth();
  EXPECT_EQ(gains.record.presenceGain[0], 1.0f);
  EXPECT_EQ(gains.record.presenceGain[256], 1.0f);
  EXPECT_LT(gains.record.presenceGain[1], 1.0f);
  EXPECT_LT(gains.record.presenceGain[255], 1.0f);
  EXPECT_LT(gains.record.presenceGain[128], 0.1f);
}

// The smoothing runs up the bins: a single high bin lifts those above it in the same frame, and of
// those below only its neighbour.
TEST(PresenceGain, TakesTheLowerNeighbourOfThisFrameAndTheUpperOneOfTheLast) {
  Gains gains;
  std::fill_n(gains.record.presenceGain, kBinCount, 0.0f);
  gains.record.presenceGain[100] = 1.0f;
  gains.smooth();
  const float* gain = gains.record.presenceGain;
  EXPECT_EQ(gain[98], 0.0f);
  EXPECT_EQ(gain[99], 0.25f);
  EXPECT_FLOAT_EQ(gain[100], 0.5f * 0.95f + 0.25f * 0.25f);
  EXPECT_EQ(gain[101], 0.25f * gain[100]);
  EXPECT_EQ(gain[102], 0.25f * gain[101]);
}

TEST(PresenceGain, AProbabilityOfOneKeepsAGainOfOneToTheLastBit) {
  Gains gains;
  std::fill(gains.probability.begin(), gains.probability.end(), 1.0f);
  for (int frame = 0; frame < 10; ++frame) gains.smooth();
  // 1 - 0.95 and 0.95 add up to exactly 1 in single precision.
  for (float gain : gains.record.presenceGain) EXPECT_EQ(gain, 1.0f);
}

TEST(PresenceGain, NeighboursAreAddedInDoublePrecision) {
  Gains gains;
  std::fill_n(gains.record.presenceGain, kBinCount, 0.0f);
  gains.record.beamPowerSmoothing = 0.0f;
  gains.probability[50] = -0.5f;
  gains.record.presenceGain[51] = 0x1p-30f;
  // 0.25 (1 + 2^-30) - 0.25 in bin 50, with bin 49 at 1: single precision would lose the 2^-30.
  gains.record.presenceGain[48] = 0.0f;
  gains.probability[49] = 2.0f;
  gains.smooth();
  ASSERT_EQ(gains.record.presenceGain[49], 1.0f);
  EXPECT_EQ(gains.record.presenceGain[50], 0x1p-32f);
}

}  // namespace
}  // namespace vekbf::test
