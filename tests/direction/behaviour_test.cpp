// SPDX-License-Identifier: MIT
//
// What the finder says of sounds whose direction is known.
#include <gtest/gtest.h>

#include <cstring>

#include "direction/library_finder.h"
#include "direction/plane_wave.h"

namespace vekbf::test {
namespace {

constexpr uint32_t kRate = 16000;
constexpr size_t kSecond = kRate;
constexpr VekDirConfig kDefaults = {};
constexpr double kLevel = 8000;
constexpr double kNoise = 20;

VekBfInit line() { return line_array(kRate, {0.0f, 0.035f, 0.07f, 0.105f}); }
VekBfInit square() { return square_array(kRate, 4, 0.0453f); }

std::vector<int16_t> talker_at(const VekBfInit& array, double degrees, size_t seconds,
                               uint64_t seed = 5) {
  return heard_by(array, {{degrees, voice_samples(seed, seconds * kSecond, kSecond / 2, kLevel)}},
                  kNoise, seed);
}

bool same(const VekDirState& a, const VekDirState& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST(DirectionBehaviour, OneTalkerIsFoundWhereHeIs) {
  for (const int degrees : {0, 20, 60, 90, 135, 180}) {
    const auto states = states_of(line(), kDefaults, talker_at(line(), degrees, 3));
    // End-fire is where a line is least certain.
    const bool endFire = degrees == 0 || degrees == 180;
    EXPECT_LE(degrees_between(states.back().angle, degrees), endFire ? 12 : 3) << degrees;
    EXPECT_GT(states.back().confidence, 0.3f) << degrees;
  }
  for (int degrees = 0; degrees < 360; degrees += 45) {
    const auto states = states_of(square(), kDefaults, talker_at(square(), degrees, 3));
    EXPECT_LE(degrees_between(states.back().angle, degrees), 3) << degrees;
  }
}

TEST(DirectionBehaviour, NothingIsSaidBeforeASound) {
  const auto states = states_of(square(), kDefaults, talker_at(square(), 77, 3));
  for (size_t b = 0; b < kSecond / 2 / VEK_BF_BLOCK_FRAMES; ++b) {
    ASSERT_EQ(states[b].angle, -1) << b;
    ASSERT_EQ(states[b].heard, 0) << b;
    ASSERT_EQ(states[b].confidence, 0.0f) << b;
    ASSERT_EQ(states[b].age, b + 1);
  }
}

// However loud it is, and although it has a direction: not in a minute of it.
constexpr size_t kSteadySeconds = 60;
enum class SteadyNoise { kOwn, kHiss, kFan, kAround };

std::vector<int16_t> minute_of(SteadyNoise kind, const VekBfInit& array, double level) {
  constexpr size_t kMinute = kSteadySeconds * kSecond;
  const std::vector<double> hiss = noise_samples(3, kMinute, level);
  switch (kind) {
    case SteadyNoise::kOwn:
      return heard_by(array, {{0, std::vector<double>(kMinute)}}, level, 1);
    case SteadyNoise::kHiss:
      return heard_by(array, {{120, hiss}}, level / 100, 1);
    case SteadyNoise::kFan: {
      std::vector<double> rumble = hiss;  // 6 dB less per octave above 300 Hz
      for (size_t t = 1; t < kMinute; ++t) rumble[t] = 0.89 * rumble[t - 1] + 0.3 * hiss[t];
      return heard_by(array, {{120, rumble}}, level / 100, 1);
    }
    default: {
      std::vector<WaveSource> sources;  // from all sides
      for (uint64_t s = 0; s < 8; ++s) {
        sources.push_back({45.0 * static_cast<double>(s), noise_samples(s, kMinute, level / 8)});
      }
      return heard_by(array, sources, level / 100, 1);
    }
  }
}

TEST(DirectionBehaviour, SteadyNoiseIsNoTalker) {
  const SteadyNoise kinds[] = {SteadyNoise::kOwn, SteadyNoise::kHiss, SteadyNoise::kFan,
                               SteadyNoise::kAround};
  for (const SteadyNoise kind : kinds) {
    for (const VekBfInit& array : {line(), square()}) {
      const double level = array.geometry == VEK_BF_UNIFORM_LINEAR_ARRAY ? 300.0 : 20000.0;
      size_t block = 0;
      for (const VekDirState& state : states_of(array, kDefaults, minute_of(kind, array, level))) {
        ASSERT_EQ(state.angle, -1) << static_cast<int>(kind) << " " << block;
        ASSERT_EQ(state.heard, 0) << static_cast<int>(kind) << " " << block;
        ++block;
      }
      EXPECT_EQ(block, kSteadySeconds * 125);
    }
  }
}

// An angle that was found stays where it is.
TEST(DirectionBehaviour, SteadyNoiseMovesNoAngle) {
  const auto talk = talker_at(line(), 60, 3);
  const auto noise = minute_of(SteadyNoise::kHiss, line(), 300.0);
  LibraryFinder finder;
  ASSERT_TRUE(finder.start(line()));
  VekDirState state = {};
  const size_t block = 4 * VEK_BF_BLOCK_FRAMES;
  const auto both = [&](size_t i) {  // the noise is there from the beginning
    std::vector<int16_t> sum(block);
    for (size_t s = 0; s < block; ++s) {
      const int value = noise[i + s] + (i < talk.size() ? talk[i + s] : 0);
      sum[s] = static_cast<int16_t>(value);
    }
    return sum;
  };
  size_t i = 0;
  for (; i < talk.size(); i += block) state = finder.run(both(i).data());
  const int32_t found = state.angle;
  EXPECT_LE(degrees_between(found, 60), 3);
  for (; i < noise.size(); i += block) {
    state = finder.run(both(i).data());
    ASSERT_EQ(state.angle, found) << i / block;
    if (i > talk.size() + 20 * block) {
      ASSERT_EQ(state.heard, 0) << i / block;
    }
  }
}

// The share of right angles rises with the confidence, in every step: over talkers beside another
// one who is softer, and louder or softer noise from elsewhere, some of them hopeless.
TEST(DirectionBehaviour, ConfidenceTellsHowSureTheAngleIs) {
  constexpr int kSteps = 4;
  constexpr float kFrom[kSteps] = {0.0f, 0.08f, 0.5f, 0.92f};
  int count[kSteps] = {};
  int right[kSteps] = {};
  for (uint64_t seed = 1; seed <= 16; ++seed) {
    const double degrees = 20.0 + 9.0 * static_cast<double>(seed);
    const double softer = seed % 4 == 0 ? 1.3 : 2.0 + static_cast<double>(seed % 3);
    const std::vector<WaveSource> sources = {
        {degrees, voice_samples(seed, 6 * kSecond, kSecond / 2, kLevel)},
        {degrees > 90 ? degrees - 70 : degrees + 70,
         voice_samples(seed + 100, 6 * kSecond, kSecond, kLevel / softer)},
        {degrees > 90 ? 15.0 : 165.0, noise_samples(seed, 6 * kSecond, kLevel / 30)},
    };
    for (const VekDirState& state :
         states_of(line(), kDefaults, heard_by(line(), sources, 400, seed))) {
      if (state.angle < 0) continue;
      int step = kSteps - 1;
      while (state.confidence < kFrom[step]) --step;
      ++count[step];
      right[step] += degrees_between(state.angle, static_cast<int32_t>(degrees)) <= 10;
    }
  }
  double before = 0.0;
  for (int step = 0; step < kSteps; ++step) {
    ASSERT_GT(count[step], 100) << step;
    const double share = static_cast<double>(right[step]) / count[step];
    EXPECT_GT(share, before) << step << " of " << count[step];
    before = share;
  }
  EXPECT_GT(before, 0.9);
}

TEST(DirectionBehaviour, TalkerIsHeardAboveANoiseFromElsewhere) {
  const std::vector<WaveSource> sources = {
      {40, voice_samples(8, 5 * kSecond, kSecond, kLevel)},
      {130, noise_samples(3, 5 * kSecond, kLevel / 20)},
  };
  const auto states = states_of(line(), kDefaults, heard_by(line(), sources, kNoise, 1));
  EXPECT_LE(degrees_between(states.back().angle, 40), 3);
}

TEST(DirectionBehaviour, AnotherTalkerIsFollowed) {
  std::vector<double> second = voice_samples(9, 6 * kSecond, 3 * kSecond, kLevel);
  std::vector<double> first = voice_samples(8, 3 * kSecond, kSecond / 2, kLevel);
  const auto states =
      states_of(square(), kDefaults, heard_by(square(), {{300, first}, {60, second}}, kNoise, 1));
  EXPECT_LE(degrees_between(states[3 * kSecond / VEK_BF_BLOCK_FRAMES - 1].angle, 300), 3);
  EXPECT_LE(degrees_between(states.back().angle, 60), 3);
}

// The louder one outside does not count while the one inside is silent, nor while he speaks.
TEST(DirectionBehaviour, SectorKeepsToTheTalkerInside) {
  const std::vector<WaveSource> sources = {
      {40, voice_samples(8, 8 * kSecond, kSecond, kLevel / 2)},
      {150, voice_samples(9, 8 * kSecond, kSecond, kLevel)},
  };
  const auto recording = heard_by(line(), sources, kNoise, 1);
  const VekDirConfig sector = {10, 70, 0, 0};
  int outside = 0;
  for (const VekDirState& state : states_of(line(), sector, recording)) {
    if (state.angle >= 0) {
      ASSERT_TRUE(state.angle >= 10 && state.angle <= 70);
    }
  }
  EXPECT_LE(degrees_between(states_of(line(), sector, recording).back().angle, 40), 6);
  // Without a sector the other one is followed for a part of the time.
  for (const VekDirState& state : states_of(line(), kDefaults, recording)) {
    outside += state.angle > 70;
  }
  EXPECT_GT(outside, 100);
}

// Microphone m + 1 hears what m heard: the square was turned.
TEST(DirectionBehaviour, TurningASquareTurnsTheAngleExactly) {
  const auto recording = talker_at(square(), 33, 3);
  std::vector<int16_t> turned(recording.size());
  for (size_t i = 0; i < recording.size(); i += 4) {
    for (size_t m = 0; m < 4; ++m) turned[i + (m + 1) % 4] = recording[i + m];
  }
  const auto states = states_of(square(), kDefaults, recording);
  const auto turnedStates = states_of(square(), kDefaults, turned);
  int given = 0;
  for (size_t b = 0; b < states.size(); ++b) {
    VekDirState expected = states[b];
    if (expected.angle >= 0) {
      expected.angle = (expected.angle + 90) % 360;
      ++given;
    }
    // (The zero test looks at the first frames of a block, whose values are the same ones.)
    ASSERT_TRUE(same(turnedStates[b], expected)) << b;
  }
  EXPECT_GT(given, 200);
}

// The same channels in the other order, and the line described in that order or not.
TEST(DirectionBehaviour, ReversedLineMirrorsTheAngleExactly) {
  const std::vector<float> positions = {-0.113f, 0.036f, 0.076f, 0.113f};
  const VekBfInit array = line_array(kRate, positions);
  const VekBfInit reversed =
      line_array(kRate, {positions[3], positions[2], positions[1], positions[0]});
  std::vector<float> mirroredPositions;
  for (const float x : positions) mirroredPositions.push_back(-x);
  const VekBfInit mirrored = line_array(kRate, mirroredPositions);
  const auto recording = talker_at(array, 50, 3);
  std::vector<int16_t> exchanged(recording.size());
  for (size_t i = 0; i < recording.size(); i += 4) {
    for (size_t m = 0; m < 4; ++m) exchanged[i + 3 - m] = recording[i + m];
  }
  const auto states = states_of(array, kDefaults, recording);
  const auto reversedStates = states_of(reversed, kDefaults, exchanged);
  const auto mirroredStates = states_of(mirrored, kDefaults, recording);
  for (size_t b = 0; b < states.size(); ++b) {
    EXPECT_EQ(reversedStates[b].angle, states[b].angle) << b;
    EXPECT_EQ(mirroredStates[b].angle, states[b].angle < 0 ? -1 : 180 - states[b].angle) << b;
  }
  EXPECT_LE(degrees_between(states.back().angle, 50), 3);
}

TEST(DirectionBehaviour, LineFoldsItsOtherSide) {
  const auto front = states_of(line(), kDefaults, talker_at(line(), 60, 3));
  const auto back = states_of(line(), kDefaults, talker_at(line(), -60, 3));
  for (size_t b = 0; b < front.size(); ++b) ASSERT_TRUE(same(front[b], back[b])) << b;
  LibraryFinder finder;
  ASSERT_TRUE(finder.start(line()));
  const auto recording = talker_at(line(), 60, 2);
  for (size_t b = 0; b < recording.size() / 512; ++b) finder.run(&recording[b * 512]);
  float map[VEK_DIR_MAP_DEGREES];
  finder.map(map);
  float most = 0.0f;
  for (int d = 1; d < 180; ++d) {
    EXPECT_EQ(map[360 - d], map[d]);
    most = std::max(most, map[d]);
  }
  EXPECT_GT(most, 0.0f);
}

TEST(DirectionBehaviour, SilenceAndZeroBlocksKeepTheAngle) {
  auto recording = talker_at(square(), 200, 3);
  const size_t spoken = recording.size();
  LibraryFinder finder;
  ASSERT_TRUE(finder.start(square()));
  VekDirState state = {};
  for (size_t i = 0; i < spoken; i += 512) state = finder.run(&recording[i]);
  ASSERT_LE(degrees_between(state.angle, 200), 3);
  const VekDirState before = state;
  const std::vector<int16_t> zeros(512);
  for (int b = 0; b < 500; ++b) {
    state = finder.run(zeros.data());
    EXPECT_EQ(state.angle, before.angle);
    EXPECT_EQ(state.age, before.age);
    EXPECT_EQ(state.heard, 0);
    EXPECT_EQ(state.confidence, before.confidence);
  }
  // Hardly more than silence: time goes on, nothing is heard.
  Random random(1);
  std::vector<int16_t> whisper(512);
  for (uint32_t b = 1; b <= 500; ++b) {
    for (int16_t& x : whisper) x = static_cast<int16_t>(random.below(3) - 1);
    state = finder.run(whisper.data());
    EXPECT_EQ(state.angle, before.angle);
    if (b > 20) {
      EXPECT_EQ(state.heard, 0) << b;
    }
  }
  EXPECT_GE(state.age, 480u);
}

TEST(DirectionBehaviour, NothingCountsDuringAPause) {
  const auto recording = talker_at(square(), 200, 4);
  LibraryFinder finder;
  ASSERT_TRUE(finder.start(square()));
  finder.pause(true);
  const size_t half = recording.size() / 2;
  for (size_t i = 0; i < half; i += 512) {
    const VekDirState state = finder.run(&recording[i]);
    ASSERT_EQ(state.angle, -1);
    ASSERT_EQ(state.heard, 0);
  }
  finder.pause(false);
  VekDirState state = {};
  for (size_t i = half; i < recording.size(); i += 512) state = finder.run(&recording[i]);
  EXPECT_LE(degrees_between(state.angle, 200), 3);
  const int32_t found = state.angle;
  // And the angle stays while another talker is not to be heard.
  finder.pause(true);
  const auto other = talker_at(square(), 20, 3);
  for (size_t i = 0; i < other.size(); i += 512) {
    ASSERT_EQ(finder.run(&other[i]).angle, found);
  }
}

// A device that says with every block whether it plays must not lose what the block before gave.
TEST(DirectionBehaviour, GoingOnWithoutAPauseChangesNothing) {
  const auto recording = talker_at(square(), 200, 4);
  LibraryFinder quiet, told;
  ASSERT_TRUE(quiet.start(square()));
  ASSERT_TRUE(told.start(square()));
  for (size_t i = 0; i < recording.size(); i += 512) {
    told.pause(false);
    const VekDirState expected = quiet.run(&recording[i]);
    const VekDirState state = told.run(&recording[i]);
    ASSERT_EQ(state.angle, expected.angle) << i;
    ASSERT_EQ(state.heard, expected.heard) << i;
    ASSERT_EQ(state.confidence, expected.confidence) << i;
  }
  EXPECT_LE(degrees_between(quiet.run(recording.data()).angle, 200), 3);
}

TEST(DirectionBehaviour, NewSectorForgetsAnAngleOutside) {
  const auto recording = talker_at(square(), 200, 3);
  LibraryFinder finder;
  ASSERT_TRUE(finder.start(square()));
  VekDirState state = {};
  for (size_t i = 0; i < recording.size(); i += 512) state = finder.run(&recording[i]);
  const std::vector<int16_t> zeros(512);
  finder.configure({180, 220, 0, 0});
  EXPECT_EQ(finder.run(zeros.data()).angle, state.angle);
  finder.configure({300, 100, 0, 0});
  const VekDirState after = finder.run(zeros.data());
  EXPECT_EQ(after.angle, -1);
  EXPECT_EQ(after.confidence, 0.0f);
}

TEST(DirectionBehaviour, InitStartsAfresh) {
  const auto recording = talker_at(line(), 100, 3);
  LibraryFinder used;
  ASSERT_TRUE(used.start(square()));
  const auto other = talker_at(square(), 10, 2);
  for (size_t i = 0; i < other.size(); i += 512) used.run(&other[i]);
  used.pause(true);
  used.configure({1, 2, 3, 4});
  ASSERT_TRUE(used.restart(line()));
  LibraryFinder fresh;
  ASSERT_TRUE(fresh.start(line()));
  for (size_t i = 0; i < recording.size(); i += 512) {
    ASSERT_TRUE(same(used.run(&recording[i]), fresh.run(&recording[i]))) << i;
  }
}

TEST(DirectionBehaviour, WalkingTalkerIsFollowed) {
  // Every half second five degrees on.
  std::vector<WaveSource> sources;
  const std::vector<double> voice = voice_samples(4, 12 * kSecond, kSecond / 2, kLevel);
  for (int step = 0; step < 24; ++step) {
    std::vector<double> part(voice.size());
    for (size_t t = static_cast<size_t>(step) * kSecond / 2;
         t < static_cast<size_t>(step + 1) * kSecond / 2; ++t) {
      part[t] = voice[t];
    }
    sources.push_back({40.0 + 5 * step, part});
  }
  const auto states = states_of(square(), kDefaults, heard_by(square(), sources, kNoise, 1));
  int near = 0, given = 0;
  for (size_t b = 100; b < states.size(); ++b) {
    const auto step = static_cast<int32_t>(b * VEK_BF_BLOCK_FRAMES * 2 / kSecond);
    ++given;
    near += degrees_between(states[b].angle, 40 + 5 * step) <= 10;
  }
  EXPECT_GT(near, given * 8 / 10);
}

// Channels that are out of order give an angle or none, and nothing else.
TEST(DirectionBehaviour, FaultyChannelsGiveAnAngleOrNone) {
  for (const VekBfInit& array : {line(), square()}) {
    for (int fault = 0; fault < kChannelFaults; ++fault) {
      for (int kind = 0; kind < kSignalKinds; ++kind) {
        DirectionScene scene = {};
        scene.array = array;
        scene.signal = static_cast<SignalKind>(kind);
        scene.fault = static_cast<ChannelFault>(fault);
        scene.blocks = 150;
        scene.seed = 3;
        LibraryFinder finder;
        const int32_t last = array.geometry == VEK_BF_UNIFORM_LINEAR_ARRAY ? 180 : 359;
        play(scene, finder, [&](int, const std::vector<int16_t>&, const VekDirState& state) {
          ASSERT_TRUE(state.angle >= -1 && state.angle <= last);
          ASSERT_TRUE(state.heard == 0 || state.heard == 1);
          ASSERT_TRUE(state.confidence >= 0.0f && state.confidence <= 1.0f);
        });
      }
    }
  }
}

}  // namespace
}  // namespace vekbf::test
