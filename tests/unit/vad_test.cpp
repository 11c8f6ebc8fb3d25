// SPDX-License-Identifier: MIT
#include "noise/vad.h"

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
#include "support/random.h"

namespace {

using namespace vekbf::test;

constexpr VadInitParams kUsual = {16000, 512, 257, 0.5f};
constexpr int kBlocks = 20;  // record and seven arrays, the estimator's record and eleven arrays
constexpr float kAlways = -1.0f;  // thresholds that every and no probability exceeds
constexpr float kNever = 2.0f;

struct Detector {
  explicit Detector(VadInitParams params = kUsual) : state(vad_init(&params)) {}
  ~Detector() { vad_free(state); }
  Detector(const Detector&) = delete;
  Detector& operator=(const Detector&) = delete;
  VadState* operator->() const { return state; }
  float run(const std::vector<float>& power) { return vad_run(state, power.data()); }
  // One frame at a constant level.
  float run(float level) {
    return run(std::vector<float>(static_cast<size_t>(state->binCount), level));
  }

  VadState* state;
};

TEST(Vad, StartsWithTheStatedParameters) {
  const Detector d({16000, 512, 257, 0.25f});
  EXPECT_EQ(d->sampleRate, 16000);
  EXPECT_EQ(d->frameLen, 512);
  EXPECT_EQ(d->binCount, 257);
  EXPECT_EQ(d->snrMax, 1000.0f);
  EXPECT_EQ(d->snrMin, 0.001f);
  EXPECT_EQ(d->transA, 0.64f);
  EXPECT_EQ(d->transAComp, 1.0f - 0.64f);
  EXPECT_EQ(d->transB, 0.32f);
  EXPECT_EQ(d->transBComp, 1.0f - 0.32f);
  EXPECT_EQ(d->transRatio, 0.64f / (1.0f - 0.64f));
  EXPECT_NEAR(d->transRatio, 1.7777778f, 1e-6f);
  EXPECT_EQ(d->transResid, (1.0f - 0.32f) - 0.32f * (0.64f / (1.0f - 0.64f)));
  EXPECT_NEAR(d->transResid, 0.1111111f, 1e-6f);
  EXPECT_EQ(d->snrSmoothing, 0.99f);
  EXPECT_EQ(d->threshold, 0.25f);
  EXPECT_EQ(d->onsetFrames, 3);
  EXPECT_EQ(d->hangoverFrames, 5);
}

TEST(Vad, StartsInNoiseWithNoHistory) {
  const Detector d;
  EXPECT_EQ(d->logLikelihood, 0.0f);
  EXPECT_EQ(d->decision, 0);
  EXPECT_EQ(d->hangoverCount, 0);
  EXPECT_EQ(d->onsetCount, 0);
  EXPECT_EQ(d->noiseState, 1);
  const std::vector<float> zeros(257, 0.0f), ones(257, 1.0f);
  for (const float* array :
       {d->scaledSnr, d->binLogLikelihood, d->postSnrMinusOne, d->gain, d->postSnr, d->prioriSnr}) {
    EXPECT_TRUE(same_floats(array, zeros.data(), zeros.size()));
  }
  EXPECT_TRUE(same_floats(d->speechPowerRatio, ones.data(), ones.size()));
}

TEST(Vad, CreatesItsOwnEstimator) {
  const Detector d({8000, 512, 257, 0.5f});
  ASSERT_NE(d->mcra, nullptr);
  EXPECT_EQ(d->mcra->binCount, 257);
  EXPECT_EQ(d->mcra->frameCount, 1);
  EXPECT_EQ(d->mcra->delta[191], 2.0f);  // the rate reaches it: 3 kHz is bin 192 at 8 kHz
  EXPECT_EQ(d->mcra->delta[192], 5.0f);
}

TEST(Vad, TransitionsAreRoundedFromDouble) {
  // 512 * 20 / 11025 and its half, rounded once.
  const Detector d({11025, 512, 257, 0.5f});
  EXPECT_EQ(d->transA, static_cast<float>(10240.0 / 11025.0));
  EXPECT_EQ(d->transB, static_cast<float>(5120.0 / 11025.0));
}

TEST(Vad, FirstFrameSeesNoInput) {
  Detector d;
  const float probability = d.run(1e6f);
  const float xi = (1.0f - 0.99f) * (0.001f - 1.0f) + 0.99f * 0.001f;
  EXPECT_NEAR(xi, -0.009f, 1e-6f);
  for (int k = 0; k < 257; ++k) {
    EXPECT_EQ(d->mcra->inputPower[k], 0.0f);
    EXPECT_EQ(d->postSnr[k], 0.001f);
    EXPECT_EQ(d->postSnrMinusOne[k], 0.001f - 1.0f);
    EXPECT_EQ(d->prioriSnr[k], xi);
  }
  // The recursion from 0: q = 0.1111 / (0.32 + 0.36) + 1.7778 = 1.94118, half of it below 1.
  const double mean = d->meanLogLikelihood;
  EXPECT_NEAR(mean, -std::log(0.991) - 0.2 * 0.001 * 0.009 / 0.991, 1e-5);
  const double expected = std::log(0.5 * (1.0 / 9.0 / 0.68 + 16.0 / 9.0)) + mean;
  EXPECT_NEAR(d->logLikelihood, expected, 1e-5);
  EXPECT_NEAR(probability, 1.0 / (1.0 + std::exp(-expected)), 1e-6);
}

TEST(Vad, SilentBinCountsAsTheUpperLimit) {
  Detector d({16000, 512, 5, 0.5f});
  std::vector<float> power(5, 4.0f);
  power[1] = power[4] = 0.0f;
  d.run(power);
  EXPECT_EQ(d->postSnr[0], 0.001f);
  EXPECT_EQ(d->postSnr[1], 1000.0f);
  EXPECT_EQ(d->postSnr[4], 1000.0f);
  d.run(power);
  EXPECT_EQ(d->postSnr[1], 1000.0f);
  EXPECT_EQ(d->postSnr[4], 1000.0f);
}

TEST(Vad, SecondFrameDividesTheInputByTheUpdatedNoise) {
  Detector d({16000, 512, 5, 0.5f});
  d.run(4.0f);
  d.run(6.0f);
  EXPECT_EQ(d->postSnr[2], 6.0f / d->mcra->noisePower[2]);
}

TEST(Vad, LikelihoodOfTheFrameBeforeEntersTheNext) {
  Detector a, b;
  a.run(4.0f);
  b.run(4.0f);
  b->logLikelihood = 5.0f;
  a.run(4.0f);
  b.run(4.0f);
  EXPECT_EQ(a->meanLogLikelihood, b->meanLogLikelihood);
  EXPECT_NE(a->logLikelihood, b->logLikelihood);
}

TEST(Vad, ProbabilityEqualToTheThresholdIsNotAbove) {
  Detector probe;
  const float p = probe.run(4.0f);
  ASSERT_GT(p, 0.0f);
  Detector equal({16000, 512, 257, p});
  EXPECT_EQ(equal.run(4.0f), p);
  EXPECT_EQ(equal->onsetCount, 0);
  Detector above({16000, 512, 257, std::nextafter(p, 0.0f)});
  EXPECT_EQ(above.run(4.0f), p);
  EXPECT_EQ(above->onsetCount, 1);
}

// At L = 1.5 2^-22 the logistic 1 / (1 + exp(-L)) = 1/2 + L/4 - L^3/48 + ... is, in double
// precision, 1/2 + 3 2^-25: halfway between two floats, which goes to the even one. A double one
// unit lower would go to the other.
TEST(Vad, ProbabilityOnATieGoesToTheEvenFloat) {
  constexpr float kLikelihood = 0x1.8p-22f;
  const VadInitParams params = {16000, 512, 1, 0.5f};
  Detector probe(params);
  probe.run(4.0f);
  // Without a past the recursion is the logarithm of resid + ratio, plus the mean.
  Detector d(params);
  d->transA = d->transB = 1.0f;
  d->transAComp = 0.0f;
  const double factor =
      std::exp(static_cast<double>(kLikelihood) - static_cast<double>(probe->meanLogLikelihood));
  d->transRatio = static_cast<float>(factor);
  d->transResid = static_cast<float>(factor - static_cast<double>(d->transRatio));
  const float p = d.run(4.0f);
  ASSERT_EQ(d->logLikelihood, kLikelihood);
  EXPECT_EQ(p, 0.5f + 0x1p-23f);
}

TEST(Vad, ThirdFrameAboveEntersSpeechAndFifthBelowLeavesIt) {
  Detector d;
  d->threshold = kAlways;
  d.run(1.0f);
  d.run(1.0f);
  d->threshold = kNever;
  d.run(1.0f);
  EXPECT_EQ(d->noiseState, 1);
  EXPECT_EQ(d->onsetCount, 0);
  d->threshold = kAlways;
  for (const int decision : {0, 0, 1, 1}) {
    d.run(1.0f);
    EXPECT_EQ(d->decision, decision);
  }
  d->threshold = kNever;
  for (const int decision : {1, 1, 1, 1, 0, 0}) {
    d.run(1.0f);
    EXPECT_EQ(d->decision, decision);
  }
  EXPECT_EQ(d->noiseState, 1);
}

TEST(Vad, UnknownStateStillReturnsTheProbability) {
  Detector d, usual;
  d->noiseState = 2;
  EXPECT_EQ(d.run(4.0f), usual.run(4.0f));
  EXPECT_EQ(d->decision, 0);
  EXPECT_EQ(d->noiseState, 2);
}

TEST(Vad, EightKilohertzMayGiveAProbabilityThatIsNoNumberAndCountsAsBelow) {
  Detector d({8000, 512, 257, 0.0f});
  EXPECT_EQ(d->transA, 1.28f);
  EXPECT_LT(d->transAComp, 0.0f);
  PowerStream stream(StreamKind::kNoise, 8);
  std::vector<float> power(257);
  float p = 0.0f;
  for (int frame = 0; frame < 50 && !std::isnan(p); ++frame) {
    stream.next(power);
    p = d.run(power);
  }
  ASSERT_TRUE(std::isnan(p));
  // In noise it resets the onset, in speech it uses up the hangover.
  d->noiseState = 1;
  d->onsetCount = 2;
  EXPECT_TRUE(std::isnan(d.run(power)));
  EXPECT_EQ(d->onsetCount, 0);
  EXPECT_EQ(d->decision, 0);
  d->noiseState = 0;
  d->hangoverCount = 0;
  for (const int decision : {1, 1, 1, 1, 0}) {
    EXPECT_TRUE(std::isnan(d.run(power)));
    EXPECT_EQ(d->decision, decision);
  }
  EXPECT_EQ(d->noiseState, 1);
}

TEST(Vad, RateWithATransitionOfOneGivesNoNumberAtOnce) {
  Detector d({10240, 512, 257, 0.5f});
  EXPECT_EQ(d->transA, 1.0f);
  EXPECT_TRUE(std::isinf(d->transRatio));
  EXPECT_TRUE(std::isnan(d.run(4.0f)));
  EXPECT_EQ(d->decision, 0);
}

TEST(Vad, ProbabilityLiesBetweenZeroAndOne) {
  Detector d;
  PowerStream stream(StreamKind::kLoud, 9);
  std::vector<float> power(257);
  for (int frame = 0; frame < 100; ++frame) {
    stream.next(power);
    const float p = d.run(power);
    ASSERT_GE(p, 0.0f);
    ASSERT_LE(p, 1.0f);
  }
}

TEST(Vad, HearsASpeechLikeBurstInNoise) {
  Detector d;
  PowerStream noise(StreamKind::kNoise, 10);
  std::vector<float> power(257);
  for (int frame = 0; frame < 100; ++frame) {
    noise.next(power);
    d.run(power);
  }
  EXPECT_EQ(d->decision, 0);
  for (float& p : power) p *= 1000.0f;
  for (int frame = 0; frame < 3; ++frame) EXPECT_GT(d.run(power), 0.99f);
  EXPECT_EQ(d->decision, 1);
}

TEST(Vad, NoBinsGiveNoNumber) {
  for (const int32_t bins : {0, -3, std::numeric_limits<int32_t>::min()}) {
    const VadInitParams params = {16000, 512, bins, 0.5f};
    VadState* state = vad_init(&params);
    ASSERT_NE(state, nullptr);
    const float power = 1.0f;
    const float p = vad_run(state, &power);
    // 0/0 for none; 0 over a negative count is 0.
    EXPECT_EQ(std::isnan(p), bins == 0);
    EXPECT_EQ(state->mcra->frameCount, 2);
    EXPECT_EQ(state->decision, 0);
    EXPECT_EQ(std::isnan(vad_run(state, nullptr)), bins == 0);
    EXPECT_EQ(state->mcra->frameCount, 3);
    vad_free(state);
  }
}

TEST(Vad, NullRecordIsRefused) {
  EXPECT_EQ(printed([] { EXPECT_EQ(vad_init(nullptr), nullptr); }),
            "[ALGO_MSG_ERR, vad_init] vadInit is NULL\n");
}

TEST(Vad, NullStateIsRefused) {
  const float power = 1.0f;
  EXPECT_EQ(printed([&] { EXPECT_EQ(vad_run(nullptr, &power), -1.0f); }),
            "[ALGO_MSG_ERR, vad_run] Vad handle is NULL\n");
  EXPECT_EQ(printed([] { vad_free(nullptr); }), "[ALGO_MSG_ERR, vad_free] Vad handle is NULL\n");
}

TEST(Vad, MissingEstimatorIsRefusedByTheEstimator) {
  Detector d;
  Mcra2State* mcra = d->mcra;
  d->mcra = nullptr;
  const float before = d->logLikelihood;
  EXPECT_EQ(printed([&] { EXPECT_EQ(d.run(1.0f), -1.0f); }),
            "[ALGO_MSG_ERR, mcra2_run] Mcra handle is NULL\n");
  EXPECT_EQ(d->logLikelihood, before);
  EXPECT_EQ(d->postSnr[0], 0.0f);
  EXPECT_EQ(printed([&] { mcra2_free(mcra); }), "");
  // The detector then goes without a word about the estimator it has not got.
  EXPECT_EQ(printed([&] {
              vad_free(d.state);
              d.state = vad_init(&kUsual);
            }),
            "");
}

TEST(Vad, NullPowerIsRefused) {
  Detector d;
  EXPECT_EQ(printed([&] { EXPECT_EQ(vad_run(d.state, nullptr), -1.0f); }), "");
  EXPECT_EQ(d->mcra->frameCount, 1);
  EXPECT_EQ(d->logLikelihood, 0.0f);
}

TEST(Vad, GoodCallsPrintNothing) {
  EXPECT_EQ(printed([] {
              Detector d;
              d.run(1.0f);
              d.run(1.0f);
            }),
            "");
}

TEST(Vad, ReleasesItsArraysAndItsEstimator) {
  const std::vector<float> power(257, 1.0f);
  const HeapWatch watch;
  VadState* state = vad_init(&kUsual);
  const int taken = watch.live();
  vad_run(state, power.data());
  vad_run(state, power.data());
  const int running = watch.allocations();
  vad_free(state);
  EXPECT_EQ(taken, kBlocks);
  EXPECT_EQ(running, kBlocks);
  EXPECT_EQ(watch.live(), 0);
}

TEST(Vad, AnyFailingAllocationGivesNullAndLeavesNothing) {
  for (int failing = 1; failing <= kBlocks; ++failing) {
    const HeapWatch watch(failing);
    const VadState* state = vad_init(&kUsual);
    const int live = watch.live();
    const int asked = watch.allocations();
    EXPECT_EQ(state, nullptr) << "allocation " << failing;
    EXPECT_EQ(live, 0) << "allocation " << failing;
    EXPECT_EQ(asked, failing);
  }
}

TEST(Vad, AbsurdBinCountsGiveNull) {
  for (const int32_t bins : {std::numeric_limits<int32_t>::max(), 0x40000000, 0x40000001}) {
    const VadInitParams params = {16000, 512, bins, 0.5f};
    const HeapWatch watch;
    const VadState* state = vad_init(&params);
    const int live = watch.live();
    EXPECT_EQ(state, nullptr);
    EXPECT_EQ(live, 0);
  }
}

// Against the plain model, every field.

::testing::AssertionResult same_detectors(const VadState& actual, const VadState& expected) {
  const struct {
    const char* name;
    int32_t VadState::*field;
  } counters[] = {
      {"sampleRate", &VadState::sampleRate},       {"frameLen", &VadState::frameLen},
      {"binCount", &VadState::binCount},           {"decision", &VadState::decision},
      {"onsetFrames", &VadState::onsetFrames},     {"hangoverFrames", &VadState::hangoverFrames},
      {"hangoverCount", &VadState::hangoverCount}, {"onsetCount", &VadState::onsetCount},
      {"noiseState", &VadState::noiseState},
  };
  for (const auto& counter : counters) {
    if (actual.*counter.field != expected.*counter.field) {
      return ::testing::AssertionFailure() << counter.name << ": " << actual.*counter.field
                                           << " instead of " << expected.*counter.field;
    }
  }
  const struct {
    const char* name;
    float VadState::*field;
  } numbers[] = {
      {"snrMax", &VadState::snrMax},
      {"snrMin", &VadState::snrMin},
      {"transA", &VadState::transA},
      {"transAComp", &VadState::transAComp},
      {"transB", &VadState::transB},
      {"transBComp", &VadState::transBComp},
      {"transRatio", &VadState::transRatio},
      {"transResid", &VadState::transResid},
      {"snrSmoothing", &VadState::snrSmoothing},
      {"logLikelihood", &VadState::logLikelihood},
      {"meanLogLikelihood", &VadState::meanLogLikelihood},
      {"threshold", &VadState::threshold},
  };
  for (const auto& number : numbers) {
    // Nothing has set the mean before the first frame.
    if (number.field == &VadState::meanLogLikelihood && actual.mcra->frameCount == 1) continue;
    auto same = same_floats(&(actual.*number.field), &(expected.*number.field), 1);
    if (!same) return same << " of " << number.name;
  }
  const struct {
    const char* name;
    float* VadState::*array;
    bool mayBeSubnormal;
  } arrays[] = {
      {"scaledSnr", &VadState::scaledSnr, false},
      {"binLogLikelihood", &VadState::binLogLikelihood, false},
      {"postSnrMinusOne", &VadState::postSnrMinusOne, false},
      {"gain", &VadState::gain, true},
      {"speechPowerRatio", &VadState::speechPowerRatio, true},
      {"postSnr", &VadState::postSnr, false},
      {"prioriSnr", &VadState::prioriSnr, false},
  };
  const auto bins = static_cast<size_t>(actual.binCount > 0 ? actual.binCount : 0);
  for (const auto& field : arrays) {
    auto same = same_floats(actual.*field.array, expected.*field.array, bins,
                            kFlushes && field.mayBeSubnormal);
    if (!same) return same << " of " << field.name;
  }
  return ::testing::AssertionSuccess();
}

void compare_with_model(VadInitParams params, PowerStream& stream, int frames) {
  Detector d(params);
  VadState* model = reference::vad_init(&params);
  ASSERT_TRUE(same_detectors(*d.state, *model));
  std::vector<float> power(static_cast<size_t>(std::max(params.binCount, 1)));
  for (int frame = 0; frame < frames; ++frame) {
    stream.next(power);
    const float p = d.run(power);
    ASSERT_TRUE(same_bits(p, reference::vad_run(model, power.data()))) << "frame " << frame;
    ASSERT_TRUE(same_detectors(*d.state, *model)) << "frame " << frame;
  }
  reference::vad_free(model);
}

TEST(VadAgainstModel, EveryFieldOverEveryKindOfStream) {
  const uint64_t seed = test_seed(20262);
  SCOPED_TRACE(seed_note(seed));
  for (const StreamKind kind : kStreamKinds) {
    SCOPED_TRACE(testing::Message() << "stream kind " << static_cast<int>(kind));
    PowerStream stream(kind, seed);
    ASSERT_NO_FATAL_FAILURE(compare_with_model(kUsual, stream, 200));
  }
}

// Transitions that no rate gives: the quotient of the two is rounded to single precision before its
// logarithm, which one of exactly a half, as every rate gives, does not show.
TEST(VadAgainstModel, AnyTransitionsAndAnyLikelihoodOfTheFrameBefore) {
  const uint64_t seed = test_seed(20264);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  const VadInitParams params = {16000, 512, 3, 0.5f};
  Detector d(params);
  VadState* model = reference::vad_init(&params);
  for (int frame = 0; frame < 2000; ++frame) {
    const float a = 1.01f + random.unit();
    const float b = 1.01f + random.unit();
    const float likelihood = 20.0f * random.unit();
    for (VadState* state : {d.state, model}) {
      state->transA = a;
      state->transAComp = 1.0f + a;
      state->transB = b;
      state->logLikelihood = likelihood;
    }
    const std::vector<float> power(3, 2.0f + random.unit());
    const float p = d.run(power);
    ASSERT_TRUE(same_bits(p, reference::vad_run(model, power.data()))) << "frame " << frame;
    ASSERT_TRUE(same_detectors(*d.state, *model)) << "frame " << frame;
  }
  reference::vad_free(model);
}

TEST(VadAgainstModel, EveryBinCountUpToTwentyAndEveryRate) {
  const uint64_t seed = test_seed(20263);
  SCOPED_TRACE(seed_note(seed));
  PowerStream stream(StreamKind::kSpeech, seed);
  for (int32_t bins = -1; bins <= 20; ++bins) {
    for (const int32_t rate : {-8000, 0, 8000, 10240, 16000, 44100, 48000}) {
      SCOPED_TRACE(testing::Message() << bins << " bins, " << rate << " Hz");
      ASSERT_NO_FATAL_FAILURE(compare_with_model({rate, 512, bins, 0.6f}, stream, 12));
    }
  }
}

}  // namespace
