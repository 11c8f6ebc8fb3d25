// SPDX-License-Identifier: MIT
//
// The plain model of the direction finder, on sounds whose delays between the microphones are whole
// samples, so that their directions are exact.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "reference/cosines.h"
#include "reference/direction.h"
#include "support/random.h"

namespace {

using reference::Direction;
using reference::DirectionState;
using vekbf::test::Random;

constexpr int kRate = 16000;
constexpr double kPi = 3.14159265358979323846;
constexpr double kMetresPerSample = 343.0 / kRate;
constexpr int kBlocks = 500;
constexpr int kFrames = kBlocks * 128;
constexpr int kReach = 16;  // samples before the first frame

// Bursts of noise after half a second of next to nothing.
std::vector<double> bursts(uint64_t seed) {
  Random random(seed);
  std::vector<double> signal;
  for (int t = 0; t < kFrames + 2 * kReach; ++t) {
    const bool sounds = t > kRate / 2 && (t / 2000) % 3 == 0;
    signal.push_back((sounds ? 3000.0 : 3.0) * static_cast<double>(random.unit()));
  }
  return signal;
}

// Interleaved; microphone m hears the signal delays[m] samples late, beside noise of its own.
std::vector<int16_t> heard(const std::vector<double>& signal, const std::vector<int>& delays) {
  std::vector<int16_t> samples;
  Random own(5);
  for (int t = 0; t < kFrames; ++t) {
    for (const int delay : delays) {
      const double noise = 10.0 * static_cast<double>(own.unit());
      samples.push_back(static_cast<int16_t>(
          std::lrint(signal[static_cast<size_t>(t + kReach - delay)] + noise)));
    }
  }
  return samples;
}

VekBfInit array(int mics, VekBfGeometry geometry, const std::vector<double>& xs) {
  VekBfInit init = {kRate, 16, mics, 343, VEK_FIXED_BF, geometry, {}};
  for (size_t m = 0; m < xs.size(); ++m) init.micCoordinate[m][0] = static_cast<float>(xs[m]);
  return init;
}

std::vector<DirectionState> states(Direction& finder, const std::vector<int16_t>& samples) {
  std::vector<DirectionState> result;
  const size_t block = samples.size() / kBlocks;
  for (size_t b = 0; b < kBlocks; ++b) result.push_back(finder.run(&samples[b * block]));
  return result;
}

VekBfInit square() { return array(4, VEK_BF_UNIFORM_TRIANGLE_ARRAY, {4 * kMetresPerSample}); }

TEST(ModelDirection, LineFindsTheCone) {
  for (const int delay : {-4, -2, 0, 1, 2, 3, 4}) {
    // Microphone 1 lies four samples farther towards 0 degrees.
    Direction finder;
    ASSERT_TRUE(finder.init(array(2, VEK_BF_UNIFORM_LINEAR_ARRAY, {0.0, 4 * kMetresPerSample})));
    const auto last = states(finder, heard(bursts(1), {0, -delay})).back();
    EXPECT_NEAR(last.angle, std::acos(delay / 4.0) * 180 / kPi, 1.0) << delay;
    EXPECT_GT(last.confidence, 0.5f) << delay;
  }
}

TEST(ModelDirection, UnequalLineFindsTheCone) {
  Direction finder;
  ASSERT_TRUE(
      finder.init(array(4, VEK_BF_UNIFORM_LINEAR_ARRAY,
                        {-4 * kMetresPerSample, 2 * kMetresPerSample, 6 * kMetresPerSample, 0.0})));
  EXPECT_NEAR(states(finder, heard(bursts(1), {2, -1, -3, 0})).back().angle, 60.0, 1.0);
}

TEST(ModelDirection, TurnedSquareTurnsEverything) {
  const auto signal = bursts(2);
  const auto first = heard(signal, {-4, 0, 4, 0});
  Direction straight;
  ASSERT_TRUE(straight.init(square()));
  const auto expected = states(straight, first);
  EXPECT_EQ(expected.back().angle, 0);
  const auto map = straight.map();

  for (const size_t quarters : {1u, 2u, 3u}) {
    std::vector<int16_t> turned(first.size());
    for (size_t t = 0; t < first.size(); t += 4) {
      for (size_t m = 0; m < 4; ++m) turned[t + (m + quarters) % 4] = first[t + m];
    }
    Direction finder;
    ASSERT_TRUE(finder.init(square()));
    const auto found = states(finder, turned);
    for (size_t b = 0; b < found.size(); ++b) {
      const int angle = expected[b].angle;
      const int turn = 90 * static_cast<int>(quarters);
      ASSERT_EQ(found[b].angle, angle < 0 ? -1 : (angle + turn) % 360) << b;
      ASSERT_EQ(found[b].confidence, expected[b].confidence) << b;
      ASSERT_EQ(found[b].heard, expected[b].heard) << b;
    }
    const auto other = finder.map();
    for (size_t d = 0; d < 360; ++d) ASSERT_EQ(other[(d + 90 * quarters) % 360], map[d]) << d;
  }
}

TEST(ModelDirection, ExchangedChannelsMirrorTheSquare) {
  const auto first = heard(bursts(3), {-4, 1, 4, -1});
  std::vector<int16_t> mirrored = first;
  for (size_t t = 0; t < first.size(); t += 4) std::swap(mirrored[t + 1], mirrored[t + 3]);
  Direction a;
  Direction b;
  ASSERT_TRUE(a.init(square()) && b.init(square()));
  const int angle = states(a, first).back().angle;
  EXPECT_GT(angle, 330);
  EXPECT_EQ(states(b, mirrored).back().angle, 360 - angle);
}

TEST(ModelDirection, MapOfOneDirectionIsTheResponseToIt) {
  // All delays zero on a line: evidence for 90 degrees, falling alike to either side.
  Direction finder;
  ASSERT_TRUE(finder.init(array(3, VEK_BF_UNIFORM_LINEAR_ARRAY, {0.0, 0.04, 0.08})));
  states(finder, heard(bursts(4), {0, 0, 0}));
  const auto map = finder.map();
  EXPECT_EQ(std::max_element(map.begin(), map.begin() + 181) - map.begin(), 90);
  for (size_t d = 0; d < 90; ++d) {
    EXPECT_NEAR(map[d], map[180 - d], 0.02f * map[90]) << d;
    EXPECT_EQ(map[d + 1], map[359 - d]) << d;
  }
  double sum = 0;
  for (const float value : map) sum += static_cast<double>(value);
  EXPECT_NEAR(sum / 360, 0.0, 0.001 * static_cast<double>(map[90]));
}

TEST(ModelDirection, SteadyNoiseCountsForNothing) {
  Direction finder;
  ASSERT_TRUE(finder.init(square()));
  Random random(6);
  std::vector<double> hiss;
  for (int t = 0; t < kFrames + 2 * kReach; ++t)
    hiss.push_back(4000 * static_cast<double>(random.unit()));
  for (const auto& state : states(finder, heard(hiss, {-4, 0, 4, 0}))) {
    EXPECT_EQ(state.angle, -1);
    EXPECT_EQ(state.heard, 0);
  }
}

TEST(ModelDirection, SectorHoldsOnlyWhatLiesInside) {
  const auto samples = heard(bursts(7), {-4, 0, 4, 0});
  for (const auto& [from, to, angle] :
       {std::array{-40, 40, 0}, std::array{320, 400, 0}, std::array{40, 320, -1},
        std::array{5, 5, 0}, std::array{350, 355, -1}}) {
    Direction finder;
    ASSERT_TRUE(finder.init(square()));
    finder.configure({from, to, 0, 0});
    EXPECT_EQ(states(finder, samples).back().angle, angle) << from << " " << to;
  }
}

TEST(ModelDirection, NothingCountsDuringAPause) {
  const auto samples = heard(bursts(8), {-4, 0, 4, 0});
  Direction finder;
  ASSERT_TRUE(finder.init(square()));
  finder.pause(true);
  const auto paused = states(finder, samples);
  EXPECT_EQ(paused.back().angle, -1);
  EXPECT_EQ(paused.back().age, static_cast<uint32_t>(kBlocks));
  finder.pause(false);
  EXPECT_EQ(states(finder, samples).back().angle, 0);

  // Zero blocks: not even the age goes on.
  const uint32_t age = finder.run(samples.data()).age;
  const std::vector<int16_t> zeros(512);
  for (int b = 0; b < 5; ++b) {
    const auto state = finder.run(zeros.data());
    EXPECT_EQ(state.angle, 0);
    EXPECT_EQ(state.heard, 0);
    EXPECT_EQ(state.age, age);
  }
}

TEST(ModelDirection, ArraysWithoutADirectionAreRefused) {
  const std::vector<VekBfInit> refused = {
      array(1, VEK_BF_UNIFORM_LINEAR_ARRAY, {0.0}),
      array(2, VEK_BF_UNIFORM_LINEAR_ARRAY, {0.0, 0.0005}),
      array(2, VEK_BF_UNIFORM_LINEAR_ARRAY, {0.0, std::nan("")}),
      array(4, VEK_BF_UNIFORM_TRIANGLE_ARRAY, {0.0}),
      array(4, VEK_BF_UNIFORM_RECTANGLE_ARRAY, {0.05}),
      array(4, VEK_BF_UNIFORM_CIRCULAR_ARRAY, {0.05}),
  };
  for (const VekBfInit& init : refused) {
    Direction finder;
    EXPECT_FALSE(finder.init(init)) << init.micNum << " " << init.geometry;
  }
}

TEST(ModelDirection, CosinesAreRounded) {
  for (int d = 0; d < 720; ++d) {
    EXPECT_NEAR(static_cast<double>(reference::cosine_of_degrees(d)), std::cos(d * kPi / 180),
                0x1p-25);
    EXPECT_NEAR(static_cast<double>(reference::sine_of_degrees(d)), std::sin(d * kPi / 180),
                0x1p-25);
  }
}

}  // namespace
