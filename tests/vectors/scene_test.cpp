// SPDX-License-Identifier: MIT
//
// The list of scenes covers what it is there for.
#include "vectors/scene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <set>
#include <tuple>

namespace vekbf::test {
namespace {

template <class Predicate>
auto count_scenes(Predicate&& predicate) {
  return std::count_if(scenes().begin(), scenes().end(), predicate);
}

bool is_long(const Scene& scene) { return scene.blocks >= kLongScene; }

TEST(SceneList, HasEnoughScenesOfEachLength) {
  EXPECT_GE(scenes().size(), 300u);
  EXPECT_GE(count_scenes(is_long), 60);
  EXPECT_GE(count_scenes([](const Scene& s) { return s.blocks >= 2000; }), 6);
  EXPECT_GE(count_scenes([](const Scene& s) { return s.saturates; }), 2);
  EXPECT_GE(count_scenes([](const Scene& s) { return s.init.micNum <= 0; }), 4);
}

TEST(SceneList, LongScenesCoverAlgorithmsMicrophonesAndRates) {
  std::set<std::tuple<int, int, unsigned>> seen;
  for (const Scene& s : scenes()) {
    if (is_long(s)) seen.insert({s.init.algorithm, s.init.micNum, s.init.sampleRate});
  }
  EXPECT_EQ(seen.size(), 2u * 4u * 7u);
}

TEST(SceneList, LongScenesCoverGeometriesSignalsAndAngles) {
  std::set<std::pair<int, int>> geometries;
  std::set<std::pair<int, SignalKind>> signals;
  std::set<AngleKind> angles;
  for (const Scene& s : scenes()) {
    if (!is_long(s)) continue;
    geometries.insert({s.init.algorithm, s.init.geometry});
    signals.insert({s.init.algorithm, s.signal});
    angles.insert(s.angles);
  }
  EXPECT_EQ(geometries.size(), 2u * 4u);
  EXPECT_EQ(signals.size(), 2u * kSignalKinds);
  EXPECT_EQ(angles.size(), size_t{kAngleKinds});
}

TEST(SceneList, EveryIntensityOccursOnTheAdaptivePath) {
  std::set<uint32_t> seen;
  for (const Scene& s : scenes()) {
    if (s.init.algorithm == VEK_ADAPTIVE_BF) seen.insert(s.config.intensity);
  }
  EXPECT_EQ(seen.size(), 11u);
}

TEST(SceneList, ReconfigurationsAreAcceptedInSomeScenesAndRefusedInOthers) {
  EXPECT_GE(count_scenes([](const Scene& s) {
              return is_long(s) && s.reconfigureAt > 0 && s.later.intensity <= 10;
            }),
            5);
  EXPECT_GE(
      count_scenes([](const Scene& s) { return s.reconfigureAt > 0 && s.later.intensity > 10; }),
      5);
}

TEST(SceneList, AnglesAreNegativeBeyondATurnAndAtTheEndsOfTheirType) {
  int negative = 0, beyond = 0, lowest = 0, highest = 0;
  for (const Scene& scene : scenes()) {
    AnglePath path(scene);
    for (int b = 0; b < scene.blocks; ++b) {
      const int32_t angle = path.next();
      negative += angle < 0;
      beyond += angle > 360;
      lowest += angle == INT_MIN;
      highest += angle == INT_MAX;
    }
  }
  EXPECT_GT(negative, 100);
  EXPECT_GT(beyond, 100);
  EXPECT_GT(lowest, 20);
  EXPECT_GT(highest, 20);
}

// Zero blocks, full scale, one-bit levels and identical channels are really in the input.
TEST(SceneList, InputHasZeroBlocksEndsOfTheRangeAndEqualChannels) {
  int zero = 0, ends = 0, one_bit = 0, equal = 0;
  for (const Scene& scene : scenes()) {
    const int channels = channels_of(scene);
    Signal signal(scene.signal, scene.seed, channels);
    std::vector<int16_t> block(static_cast<size_t>(kHopSize * channels));
    for (int b = 0; b < std::min(scene.blocks, 100); ++b) {
      signal.block(block.data());
      const auto [low, high] = std::minmax_element(block.begin(), block.end());
      zero += *low == 0 && *high == 0;
      ends += *low == INT16_MIN && *high == INT16_MAX;
      one_bit += *low == -1 && *high == 1;
      bool same = channels > 1 && *low != *high;
      for (size_t i = 0; i < block.size() && same; ++i) {
        same = block[i] == block[i - i % static_cast<size_t>(channels)];
      }
      equal += same;
    }
  }
  EXPECT_GT(zero, 200);
  EXPECT_GT(ends, 200);
  EXPECT_GT(one_bit, 200);
  EXPECT_GT(equal, 200);
}

// 4000 times a gain of 1, 2 or 4, less 20000.
TEST(Signals, ConstantSignalFollowsItsGain) {
  for (uint64_t seed = 0; seed < 20; ++seed) {
    Signal signal(SignalKind::kConstant, seed, 1);
    int16_t block[kHopSize];
    signal.block(block);
    EXPECT_TRUE(block[0] == -16000 || block[0] == -12000 || block[0] == -4000) << block[0];
    EXPECT_TRUE(std::all_of(block, block + kHopSize, [&](int16_t x) { return x == block[0]; }));
  }
}

TEST(Signals, VoiceSpeaksAndPauses) {
  Voice voice(7);
  int silent = 0, loud = 0;
  for (int i = 0; i < 160000; ++i) {
    const int32_t x = voice.next();
    silent += x == 0;
    loud += std::abs(x) > 300;
    ASSERT_LT(std::abs(x), 40000);
  }
  EXPECT_GT(silent, 16000);
  EXPECT_GT(loud, 16000);
}

TEST(Signals, RepeatThemselvesForTheSameSeedOnly) {
  for (int k = 0; k < kSignalKinds; ++k) {
    const auto kind = static_cast<SignalKind>(k);
    const auto record = [&](uint64_t seed) {
      Signal signal(kind, seed, 2);
      std::vector<int16_t> samples(2 * kHopSize * 100);
      for (int b = 0; b < 100; ++b) signal.block(samples.data() + 2 * kHopSize * b);
      return samples;
    };
    EXPECT_EQ(record(3), record(3)) << name_of(kind);
    if (kind != SignalKind::kConstant) {
      EXPECT_NE(record(3), record(4)) << name_of(kind);
    }
  }
}

}  // namespace
}  // namespace vekbf::test
