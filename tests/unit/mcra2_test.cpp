// SPDX-License-Identifier: MIT
#include "noise/mcra2.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "reference/model.h"
#include "support/bits.h"
#include "support/failing_heap.h"
#include "support/power_streams.h"
#include "support/printed.h"

namespace {

using namespace vekbf::test;

constexpr Mcra2InitParams kUsual = {16000, 257};
constexpr int kBlocks = 12;  // the record and its eleven arrays

// An estimator that is released at the end of a test.
struct Estimator {
  explicit Estimator(Mcra2InitParams params = kUsual) : state(mcra2_init(&params)) {}
  ~Estimator() { mcra2_free(state); }
  Estimator(const Estimator&) = delete;
  Estimator& operator=(const Estimator&) = delete;
  Mcra2State* operator->() const { return state; }
  void run(const std::vector<float>& power) { mcra2_run(state, power.data()); }

  Mcra2State* state;
};

TEST(Mcra2, StartsWithTheStatedParameters) {
  const Estimator e;
  EXPECT_EQ(e->frameCount, 1);
  EXPECT_EQ(e->binCount, 257);
  EXPECT_EQ(e->alphaD, 0.95f);
  EXPECT_EQ(e->alphaP, 0.2f);
  EXPECT_EQ(e->beta, 0.8f);
  EXPECT_EQ(e->extraFactor, 0.98f);
  EXPECT_EQ(e->gamma, 0.998f);
  EXPECT_EQ(e->eta, 0.7f);
}

TEST(Mcra2, StartsWithZeroFilledArraysButTheThresholds) {
  const Estimator e;
  const std::vector<float> zeros(257, 0.0f);
  for (const float* array :
       {e->inputPower, e->noisePower, e->speechProb, e->prevSmoothPower, e->smoothPower,
        e->prevMinPower, e->minPower, e->smoothFactor, e->powerRatio, e->speechFlag}) {
    EXPECT_TRUE(same_floats(array, zeros.data(), zeros.size()));
  }
}

// `edge`: first bin of the threshold 5.
void expect_thresholds(int32_t sampleRate, int32_t binCount, int edge) {
  SCOPED_TRACE(testing::Message() << sampleRate << " Hz, " << binCount << " bins");
  const Estimator e({sampleRate, binCount});
  for (int k = 0; k < binCount; ++k) {
    ASSERT_EQ(e->delta[k], k < edge ? 2.0f : 5.0f) << "bin " << k;
  }
}

TEST(Mcra2, ThresholdIsTwoBelowThreeKilohertzAndFiveFromThereOn) {
  expect_thresholds(16000, 257, 96);  // 31.25 Hz a bin
  expect_thresholds(8000, 257, 192);  // 15.625 Hz a bin: 64 and 192
  expect_thresholds(48000, 257, 32);  // 93.75 Hz a bin
  expect_thresholds(44100, 257, 34);  // 86.13 Hz a bin: 34.83 truncates
  expect_thresholds(16000, 129, 48);
  expect_thresholds(16000, 5, 1);     // 2000 Hz a bin: both edges below bin 2
  expect_thresholds(16000, 2, 1);     // 8000 Hz a bin: bin 0 belongs to the lowest band
  expect_thresholds(6000, 257, 256);  // 11.71875 Hz a bin: the last bin is the 3 kHz one
  expect_thresholds(5900, 257, 257);
}

TEST(Mcra2, ThresholdsAtRatesAndBinCountsThatGiveNoSpacing) {
  expect_thresholds(16000, 1, 1);  // 16000/0: edges 0
  expect_thresholds(-16000, 1, 1);
  expect_thresholds(0, 1, 1);                                      // 0/0
  expect_thresholds(0, 257, 257);                                  // edges at infinity
  expect_thresholds(-16000, 257, 0);                               // edges below bin 0
  expect_thresholds(std::numeric_limits<int32_t>::min(), 257, 1);  // edges truncate to bin 0
}

TEST(Mcra2, FirstFrameSeedsTheEstimatesAndLeavesTheRest) {
  Estimator e;
  const std::vector<float> zeros(257, 0.0f);
  std::vector<float> power(257);
  for (size_t k = 0; k < power.size(); ++k) power[k] = 0.1f + static_cast<float>(k * k);
  e.run(power);
  EXPECT_EQ(e->frameCount, 2);
  for (const float* array :
       {e->noisePower, e->smoothPower, e->prevSmoothPower, e->minPower, e->prevMinPower}) {
    EXPECT_TRUE(same_floats(array, power.data(), power.size()));
  }
  for (const float* array :
       {e->inputPower, e->speechProb, e->smoothFactor, e->powerRatio, e->speechFlag}) {
    EXPECT_TRUE(same_floats(array, zeros.data(), zeros.size()));
  }
}

TEST(Mcra2, FirstFrameCopiesEveryPattern) {
  Estimator e({16000, 4});
  const std::vector<float> power = {-0.0f, std::numeric_limits<float>::infinity(), 0x1p-149f,
                                    std::numeric_limits<float>::quiet_NaN()};
  e.run(power);
  EXPECT_TRUE(same_floats(e->noisePower, power.data(), power.size()));
  EXPECT_TRUE(same_floats(e->prevMinPower, power.data(), power.size()));
}

TEST(Mcra2, BinThatNeverRisesKeepsTheMinimumAtThePower) {
  Estimator e({16000, 5});
  const float level = 8.0f;
  e.run(std::vector<float>(5, 100.0f));
  float noise = 100.0f;
  float smooth = 100.0f;
  for (int frame = 0; frame < 60; ++frame) {
    e.run(std::vector<float>(5, level));
    smooth = smooth * 0.7f + (1.0f - 0.7f) * level;
    noise = 0.95f * noise + (1.0f - 0.95f) * smooth;
    for (int k = 0; k < 5; ++k) {
      ASSERT_EQ(e->smoothPower[k], smooth);
      ASSERT_EQ(e->minPower[k], smooth);
      ASSERT_EQ(e->powerRatio[k], 1.0f);
      ASSERT_EQ(e->speechFlag[k], 0.0f);
      ASSERT_EQ(e->speechProb[k], 0.0f);
      ASSERT_EQ(e->smoothFactor[k], 0.95f);
      ASSERT_EQ(e->noisePower[k], noise);
    }
  }
  EXPECT_NEAR(e->noisePower[0], level, 100.0f * std::pow(0.95f, 55.0f));
}

TEST(Mcra2, SuddenLevelRaisesTheProbabilityAndFreezesTheNoise) {
  Estimator e({16000, 5});
  e.run(std::vector<float>(5, 1.0f));
  e.run(std::vector<float>(5, 1e6f));
  float prob = 0.2f * 0.0f + (1.0f - 0.2f) * 1.0f;
  for (int k = 0; k < 5; ++k) {
    EXPECT_EQ(e->inputPower[k], 1e6f);
    EXPECT_GT(e->powerRatio[k], 5.0f);
    EXPECT_EQ(e->speechFlag[k], 1.0f);
    EXPECT_EQ(e->speechProb[k], prob);
    EXPECT_EQ(e->smoothFactor[k], 0.95f + (1.0f - 0.95f) * prob);
  }
  e.run(std::vector<float>(5, 1e6f));
  prob = 0.2f * prob + (1.0f - 0.2f);
  EXPECT_EQ(e->speechProb[0], prob);
}

TEST(Mcra2, NoiseFollowsTheSmoothedPowerNotTheInput) {
  Estimator e({16000, 1});
  e.run({1.0f});
  e.run({0.0f});
  // Smoothed 0.7; with the input itself the noise would be 0.95.
  EXPECT_EQ(e->noisePower[0], 0.95f * 1.0f + (1.0f - 0.95f) * 0.7f);
}

TEST(Mcra2, MinimumCreepsUpByItsLookAheadRule) {
  Estimator e({16000, 1});
  e.run({1.0f});
  e.run({4.0f});
  const float smooth = 1.0f * 0.7f + (1.0f - 0.7f) * 4.0f;
  const float rise = (1.0f - 0.998f) / (1.0f - 0.8f);
  const float minimum = 0.998f * 1.0f + (smooth - 0.8f * 1.0f) * rise;
  EXPECT_EQ(e->smoothPower[0], smooth);
  EXPECT_EQ(e->prevSmoothPower[0], smooth);
  EXPECT_EQ(e->minPower[0], minimum);
  EXPECT_EQ(e->prevMinPower[0], minimum);
  EXPECT_EQ(e->powerRatio[0], smooth / minimum);
}

TEST(Mcra2, PowerEqualToThePreviousMinimumBecomesTheMinimum) {
  // With eta 0 the smoothed power is the input: 2 meets the minimum 2 although the power was 4.
  Estimator e({16000, 5});
  e->eta = 0.0f;
  e->frameCount = 2;
  for (int k = 0; k < 5; ++k) {
    e->prevSmoothPower[k] = 4.0f;
    e->prevMinPower[k] = 2.0f;
  }
  e.run(std::vector<float>(5, 2.0f));
  for (int k = 0; k < 5; ++k) EXPECT_EQ(e->minPower[k], 2.0f);
}

TEST(Mcra2, RatioEqualToTheThresholdIsNoSpeech) {
  // 3 over a minimum of 1.5 is exactly 2. With gamma 0.5 and beta 0.5, rise 1: the minimum is
  // 0.5 * 1 + (3 - 0.5 * 4) = 1.5.
  Estimator e({16000, 5});
  e->eta = 0.0f;
  e->gamma = 0.5f;
  e->beta = 0.5f;
  e->frameCount = 2;
  for (int k = 0; k < 5; ++k) {
    e->delta[k] = 2.0f;
    e->prevSmoothPower[k] = 4.0f;
    e->prevMinPower[k] = 1.0f;
  }
  e->delta[1] = e->delta[4] = std::nextafter(2.0f, 0.0f);
  e.run(std::vector<float>(5, 3.0f));
  for (int k = 0; k < 5; ++k) {
    EXPECT_EQ(e->powerRatio[k], 2.0f);
    EXPECT_EQ(e->speechFlag[k], k == 1 || k == 4 ? 1.0f : 0.0f) << "bin " << k;
  }
}

TEST(Mcra2, SilenceGivesARatioThatIsNoNumberAndNoSpeech) {
  Estimator e({16000, 5});
  for (int frame = 0; frame < 3; ++frame) e.run(std::vector<float>(5, 0.0f));
  for (int k = 0; k < 5; ++k) {
    EXPECT_TRUE(std::isnan(e->powerRatio[k]));
    EXPECT_EQ(e->speechFlag[k], 0.0f);
    EXPECT_EQ(e->speechProb[k], 0.0f);
    EXPECT_EQ(e->noisePower[k], 0.0f);
  }
}

TEST(Mcra2, ProbabilityOfSpeechDecaysAfterwards) {
  Estimator e({16000, 5});
  e.run(std::vector<float>(5, 1.0f));
  for (int frame = 0; frame < 3; ++frame) e.run(std::vector<float>(5, 1e6f));
  const float before = e->speechProb[0];
  while (e->speechFlag[0] != 0.0f) e.run(std::vector<float>(5, 0.0f));
  const float after = e->speechProb[0];
  EXPECT_LT(after, before);
  e.run(std::vector<float>(5, 0.0f));
  EXPECT_EQ(e->speechProb[0], 0.2f * after);
}

TEST(Mcra2, NoBinsCountFramesOnly) {
  for (const int32_t bins : {0, -1, std::numeric_limits<int32_t>::min()}) {
    Estimator e({16000, bins});
    ASSERT_NE(e.state, nullptr);
    EXPECT_EQ(e->binCount, bins);
    const std::vector<float> one(1, 3.0f);
    e.run(one);
    EXPECT_EQ(e->frameCount, 2);
    e.run(one);
    EXPECT_EQ(e->frameCount, 3);
    // An empty spectrum may have no address.
    mcra2_run(e.state, nullptr);
    EXPECT_EQ(e->frameCount, 4);
  }
}

TEST(Mcra2, FrameCounterWrapsAndSeedsAnewAtOne) {
  Estimator e({16000, 5});
  e.run(std::vector<float>(5, 1.0f));
  e->frameCount = std::numeric_limits<int32_t>::max();
  e.run(std::vector<float>(5, 2.0f));
  EXPECT_EQ(e->frameCount, std::numeric_limits<int32_t>::min());
  e->frameCount = 0;
  e.run(std::vector<float>(5, 2.0f));
  EXPECT_EQ(e->frameCount, 1);
  e.run(std::vector<float>(5, 7.0f));
  EXPECT_EQ(e->noisePower[4], 7.0f);
}

TEST(Mcra2, NullRecordIsRefused) {
  EXPECT_EQ(printed([] { EXPECT_EQ(mcra2_init(nullptr), nullptr); }),
            "[ALGO_MSG_ERR, mcra2_init] mcra2Init is NULL\n");
}

TEST(Mcra2, NullStateIsRefused) {
  const float power[1] = {1.0f};
  EXPECT_EQ(printed([&] { mcra2_run(nullptr, power); }),
            "[ALGO_MSG_ERR, mcra2_run] Mcra handle is NULL\n");
  EXPECT_EQ(printed([] { mcra2_free(nullptr); }),
            "[ALGO_MSG_ERR, mcra2_free] Mcra handle is NULL\n");
}

TEST(Mcra2, NullPowerChangesNothing) {
  Estimator e({16000, 5});
  e.run(std::vector<float>(5, 2.0f));
  EXPECT_EQ(printed([&] { mcra2_run(e.state, nullptr); }), "");
  EXPECT_EQ(e->frameCount, 2);
  EXPECT_EQ(e->noisePower[0], 2.0f);
}

TEST(Mcra2, GoodCallsPrintNothing) {
  EXPECT_EQ(printed([] {
              Estimator e;
              e.run(std::vector<float>(257, 1.0f));
              e.run(std::vector<float>(257, 1.0f));
            }),
            "");
}

TEST(Mcra2, TakesTwelveBlocksAndReleasesThemAll) {
  const std::vector<float> power(257, 1.0f);
  const HeapWatch watch;
  Mcra2State* state = mcra2_init(&kUsual);
  const int taken = watch.live();
  mcra2_run(state, power.data());
  mcra2_run(state, power.data());
  const int running = watch.allocations();
  mcra2_free(state);
  EXPECT_EQ(taken, kBlocks);
  EXPECT_EQ(running, kBlocks);
  EXPECT_EQ(watch.live(), 0);
}

TEST(Mcra2, AnyFailingAllocationGivesNullAndLeavesNothing) {
  for (int failing = 1; failing <= kBlocks; ++failing) {
    const HeapWatch watch(failing);
    const Mcra2State* state = mcra2_init(&kUsual);
    const int live = watch.live();
    const int asked = watch.allocations();
    EXPECT_EQ(state, nullptr) << "allocation " << failing;
    EXPECT_EQ(live, 0) << "allocation " << failing;
    EXPECT_EQ(asked, failing);
  }
}

// A C library may answer a request for nothing with null: that is no failure.
TEST(Mcra2, WithoutBinsNoArrayIsNeeded) {
  for (int failing = 2; failing <= kBlocks; ++failing) {
    const Mcra2InitParams params = {16000, 0};
    const HeapWatch watch(failing);
    Mcra2State* state = mcra2_init(&params);
    ASSERT_NE(state, nullptr) << "allocation " << failing;
    EXPECT_EQ(watch.live(), kBlocks - 1);
    mcra2_run(state, nullptr);
    mcra2_free(state);
    EXPECT_EQ(watch.live(), 0);
  }
}

TEST(Mcra2, AbsurdBinCountsGiveNull) {
  for (const int32_t bins : {std::numeric_limits<int32_t>::max(), 0x40000000, 0x40000001}) {
    const Mcra2InitParams params = {16000, bins};
    const HeapWatch watch;
    const Mcra2State* state = mcra2_init(&params);
    const int live = watch.live();
    EXPECT_EQ(state, nullptr);
    EXPECT_EQ(live, 0);
  }
}

// Against the plain model, every field.

::testing::AssertionResult same_estimators(const Mcra2State& actual, const Mcra2State& expected) {
  if (actual.frameCount != expected.frameCount || actual.binCount != expected.binCount) {
    return ::testing::AssertionFailure() << "counters differ";
  }
  const auto bins = static_cast<size_t>(actual.binCount > 0 ? actual.binCount : 0);
  const struct {
    const char* name;
    float* Mcra2State::*array;
  } fields[] = {
      {"delta", &Mcra2State::delta},
      {"inputPower", &Mcra2State::inputPower},
      {"noisePower", &Mcra2State::noisePower},
      {"prevSmoothPower", &Mcra2State::prevSmoothPower},
      {"smoothPower", &Mcra2State::smoothPower},
      {"prevMinPower", &Mcra2State::prevMinPower},
      {"minPower", &Mcra2State::minPower},
      {"smoothFactor", &Mcra2State::smoothFactor},
      {"speechFlag", &Mcra2State::speechFlag},
  };
  for (const auto& field : fields) {
    // inputPower is a copy, which no unit flushes.
    auto same = same_floats(actual.*field.array, expected.*field.array, bins,
                            kFlushes && field.array != &Mcra2State::inputPower);
    if (!same) return same << " of " << field.name;
  }
  // The probability decays into subnormals after every word.
  auto same = same_floats(actual.speechProb, expected.speechProb, bins, kFlushes);
  if (!same) return same << " of speechProb";
  for (size_t k = 0; k < bins; ++k) {
    if (kFlushes && std::fabs(expected.smoothPower[k]) < 0x1p-126f) continue;
    auto ratio = same_floats(actual.powerRatio + k, expected.powerRatio + k, 1);
    if (!ratio) return ratio << " of powerRatio, bin " << k;
  }
  return ::testing::AssertionSuccess();
}

void compare_with_model(Mcra2InitParams params, PowerStream& stream, int frames) {
  Estimator e(params);
  Mcra2State* model = reference::mcra2_init(&params);
  ASSERT_TRUE(same_estimators(*e.state, *model));
  std::vector<float> power(static_cast<size_t>(std::max(params.binCount, 1)));
  for (int frame = 0; frame < frames; ++frame) {
    stream.next(power);
    e.run(power);
    reference::mcra2_run(model, power.data());
    ASSERT_TRUE(same_estimators(*e.state, *model)) << "frame " << frame;
  }
  reference::mcra2_free(model);
}

TEST(Mcra2AgainstModel, EveryFieldOverEveryKindOfStream) {
  const uint64_t seed = test_seed(20260);
  SCOPED_TRACE(seed_note(seed));
  for (const StreamKind kind : kStreamKinds) {
    SCOPED_TRACE(testing::Message() << "stream kind " << static_cast<int>(kind));
    PowerStream stream(kind, seed);
    ASSERT_NO_FATAL_FAILURE(compare_with_model(kUsual, stream, 400));
  }
}

TEST(Mcra2AgainstModel, EveryBinCountUpToTwentyAndEveryRate) {
  const uint64_t seed = test_seed(20261);
  SCOPED_TRACE(seed_note(seed));
  PowerStream stream(StreamKind::kSpeech, seed);
  for (int32_t bins = -1; bins <= 20; ++bins) {
    for (const int32_t rate : {-8000, 0, 8000, 16000, 44100, 48000}) {
      SCOPED_TRACE(testing::Message() << bins << " bins, " << rate << " Hz");
      ASSERT_NO_FATAL_FAILURE(compare_with_model({rate, bins}, stream, 12));
    }
  }
}

}  // namespace
