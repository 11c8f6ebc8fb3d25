// SPDX-License-Identifier: MIT
//
// The block counter and the estimator's frame counter wrap modulo 2^32, which takes 199 days at
// 16 kHz. On the way they mean nothing; when they come round to 1, the first-frame branches run
// once more.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "support/power_streams.h"
#include "support/quiet.h"
#include "support/records.h"
#include "vectors/library_engine.h"
#include "vectors/model_engine.h"

namespace vekbf::test {
namespace {

constexpr int kSettled = 10;  // blocks after which counters are set

Scene scene_of(VekBfAlgorithm algorithm) {
  Scene scene = random_scene(77, algorithm, 3, VEK_BF_UNIFORM_LINEAR_ARRAY, 16000, 30);
  scene.signal = SignalKind::kNoise;
  scene.reconfigureAt = 0;
  return scene;
}

// A stream that has run for some blocks.
class Running {
 public:
  Running(const Scene& scene, const Engine& engine) : scene_(scene), player_(scene_, engine) {
    for (int b = 0; b < kSettled; ++b) block();
  }
  void block() { player_.play_block(); }
  Instance& record() { return const_cast<Instance&>(player_.last().instance); }
  const std::vector<int16_t>& out() const { return player_.last().out; }

 private:
  Scene scene_;
  Player player_;
};

class Counters : public testing::TestWithParam<VekBfAlgorithm> {
 protected:
  Quiet quiet_;
  Scene scene_ = scene_of(GetParam());
};

// Equal but for the counters.
void expect_same_but_counters(Running& a, Running& b) {
  EXPECT_EQ(a.out(), b.out());
  const int32_t block = a.record().blockCounter;
  const int32_t frame = a.record().vadState->mcra->frameCount;
  a.record().blockCounter = b.record().blockCounter;
  a.record().vadState->mcra->frameCount = b.record().vadState->mcra->frameCount;
  EXPECT_TRUE(same_instances(a.record(), b.record()));
  EXPECT_TRUE(same_detectors(a.record().vadState, b.record().vadState));
  a.record().blockCounter = block;
  a.record().vadState->mcra->frameCount = frame;
}

TEST_P(Counters, PassTheLargestIntegerWithoutATrace) {
  Running near_limit(scene_, kLibrary);
  Running young(scene_, kLibrary);
  near_limit.record().blockCounter = INT_MAX - 1;
  near_limit.record().vadState->mcra->frameCount = INT_MAX - 1;
  const bool adaptive = GetParam() == VEK_ADAPTIVE_BF;
  for (const int32_t expected : {INT_MAX, INT_MIN, INT_MIN + 1, INT_MIN + 2}) {
    near_limit.block();
    young.block();
    EXPECT_EQ(near_limit.record().blockCounter, expected);
    EXPECT_EQ(near_limit.record().vadState->mcra->frameCount, adaptive ? expected : INT_MAX - 1);
    expect_same_but_counters(near_limit, young);
  }
}

TEST_P(Counters, PassZeroWithoutATrace) {
  Running old(scene_, kLibrary);
  Running young(scene_, kLibrary);
  old.record().blockCounter = -2;
  old.record().vadState->mcra->frameCount = -2;
  for (int b = 0; b < 3; ++b) {
    old.block();
    young.block();
    expect_same_but_counters(old, young);
  }
  EXPECT_EQ(old.record().blockCounter, 1);
}

TEST_P(Counters, LibraryEqualsThePlainModelOnTheWholeWay) {
  for (const int32_t start : {INT_MAX - 1, -2, 0, 1, INT_MIN}) {
    Running library(scene_, kLibrary);
    Running model(scene_, kModel);
    for (Running* running : {&library, &model}) {
      running->record().blockCounter = start;
      running->record().vadState->mcra->frameCount = start;
    }
    for (int b = 0; b < 6; ++b) {
      library.block();
      model.block();
      EXPECT_EQ(library.out(), model.out()) << start << " " << b;
      EXPECT_TRUE(same_instances(library.record(), model.record(), kFlushes)) << start << " " << b;
      EXPECT_TRUE(same_detectors(library.record().vadState, model.record().vadState, kFlushes))
          << start << " " << b;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Algorithms, Counters, testing::Values(VEK_FIXED_BF, VEK_ADAPTIVE_BF));

TEST(CountersComeRound, BlockCounterOfOneTakesThePowersUnsmoothed) {
  const Quiet quiet;
  Running stream(scene_of(VEK_ADAPTIVE_BF), kLibrary);
  Instance& record = stream.record();
  record.blockCounter = 0;
  stream.block();
  EXPECT_NE(
      0, std::memcmp(record.blockPowerSmooth, record.blockPowerSum, sizeof record.blockPowerSum));
  EXPECT_EQ(record.blockCounter, 1);
  stream.block();
  EXPECT_EQ(
      0, std::memcmp(record.blockPowerSmooth, record.blockPowerSum, sizeof record.blockPowerSum));
  EXPECT_EQ(0, std::memcmp(record.beamPowerSmooth, record.beamPower, sizeof record.beamPower));
  EXPECT_EQ(record.blockCounter, 2);
  stream.block();
  EXPECT_NE(
      0, std::memcmp(record.blockPowerSmooth, record.blockPowerSum, sizeof record.blockPowerSum));
}

TEST(CountersComeRound, FrameCountOfOneSeedsTheEstimatesAgain) {
  const Quiet quiet;
  Running stream(scene_of(VEK_ADAPTIVE_BF), kLibrary);
  Mcra2State& mcra = *stream.record().vadState->mcra;
  mcra.frameCount = 0;
  stream.block();
  ASSERT_EQ(mcra.frameCount, 1);
  constexpr size_t kSize = kBinCount * sizeof(float);
  EXPECT_NE(0, std::memcmp(mcra.noisePower, stream.record().beamPower, kSize));
  const std::vector<float> probability(mcra.speechProb, mcra.speechProb + kBinCount);
  const std::vector<float> input(mcra.inputPower, mcra.inputPower + kBinCount);
  stream.block();
  EXPECT_EQ(mcra.frameCount, 2);
  for (const float* seeded : {mcra.noisePower, mcra.smoothPower, mcra.prevSmoothPower,
                              mcra.minPower, mcra.prevMinPower}) {
    EXPECT_EQ(0, std::memcmp(seeded, stream.record().beamPower, kSize));
  }
  EXPECT_EQ(0, std::memcmp(mcra.speechProb, probability.data(), kSize));
  EXPECT_EQ(0, std::memcmp(mcra.inputPower, input.data(), kSize));
}

}  // namespace
}  // namespace vekbf::test
