// SPDX-License-Identifier: MIT
//
// The plain model's noise estimator and detector, against values worked out by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "reference/model.h"
#include "support/model_states.h"

namespace {

using vekbf::kBinCount;
using vekbf::test::detector;
using vekbf::test::estimator;

constexpr double kPi = 3.14159265358979323846;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(ModelEstimator, ThresholdsChangeAtThreeKilohertz) {
  struct Row {
    int32_t rate;
    int bins;
    int first_high;
  };
  // 3000 / (rate / (2 (bins - 1))), cut to an integer.
  for (const Row& row : {Row{8000, 257, 192}, Row{16000, 257, 96}, Row{48000, 257, 32},
                         Row{44100, 257, 34}, Row{16000, 129, 48}}) {
    const auto state = estimator(row.rate, row.bins);
    for (int k = 0; k < row.bins; ++k) {
      EXPECT_EQ(k < row.first_high ? 2.0f : 5.0f, state->delta[k]) << row.rate << " " << k;
    }
  }
  // Up to 1 kHz the threshold is low wherever the 3 kHz bin may lie.
  EXPECT_EQ(2.0f, estimator(16000, 1)->delta[0]);
}

TEST(ModelEstimator, FirstFrameSeeds) {
  const auto state = estimator(16000, 3);
  const float power[3] = {1.0f, 0.0f, 5.0f};
  reference::mcra2_run(state.get(), power);
  EXPECT_EQ(2, state->frameCount);
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(power[k], state->noisePower[k]);
    EXPECT_EQ(power[k], state->prevMinPower[k]);
    EXPECT_EQ(0.0f, state->inputPower[k]);
    EXPECT_EQ(0.0f, state->speechProb[k]);
  }
}

TEST(ModelEstimator, RiseAboveTheMinimumIsSpeech) {
  const auto state = estimator(16000, 1);
  const float quiet = 10.0f;
  const float loud = 1000.0f;
  reference::mcra2_run(state.get(), &quiet);
  reference::mcra2_run(state.get(), &loud);
  const double smooth = 0.7 * 10 + 0.3 * 1000;
  // 1 - 0.998 keeps few of its digits in single precision.
  const double rise = static_cast<double>(1.0f - 0.998f) / 0.2;
  const double minimum = 0.998 * 10 + (smooth - 0.8 * 10) * rise;
  EXPECT_NEAR(smooth, static_cast<double>(state->smoothPower[0]), 1e-4);
  EXPECT_NEAR(minimum, static_cast<double>(state->minPower[0]), 1e-5);
  EXPECT_NEAR(smooth / minimum, static_cast<double>(state->powerRatio[0]), 2e-5);
  EXPECT_EQ(1.0f, state->speechFlag[0]);
  EXPECT_FLOAT_EQ(0.8f, state->speechProb[0]);
  EXPECT_FLOAT_EQ(0.99f, state->smoothFactor[0]);
  EXPECT_NEAR(0.99 * 10 + 0.01 * smooth, static_cast<double>(state->noisePower[0]), 1e-5);
}

TEST(ModelEstimator, FallIsFollowedAtOnceAndNoiseConverges) {
  const auto state = estimator(16000, 1);
  float power = 100.0f;
  reference::mcra2_run(state.get(), &power);
  power = 1.0f;
  double smooth = 100;
  double noise = 100;
  for (int frame = 0; frame < 50; ++frame) {
    reference::mcra2_run(state.get(), &power);
    smooth = 0.7 * smooth + 0.3;
    noise = 0.95 * noise + 0.05 * smooth;
    EXPECT_EQ(state->smoothPower[0], state->minPower[0]);
    EXPECT_EQ(1.0f, state->powerRatio[0]);
    EXPECT_EQ(0.0f, state->speechProb[0]);
    EXPECT_NEAR(1.0, static_cast<double>(state->noisePower[0]) / noise, 1e-5);
  }
}

TEST(ModelEstimator, ZeroOverZeroIsNoSpeech) {
  const auto state = estimator(16000, 1);
  const float nothing = 0.0f;
  reference::mcra2_run(state.get(), &nothing);
  reference::mcra2_run(state.get(), &nothing);
  EXPECT_TRUE(std::isnan(state->powerRatio[0]));
  EXPECT_EQ(0.0f, state->speechFlag[0]);
}

TEST(ModelEstimator, WithoutBinsCountsFrames) {
  for (const int32_t bins : {0, -3}) {
    const auto state = estimator(16000, bins);
    ASSERT_NE(nullptr, state);
    reference::mcra2_run(state.get(), nullptr);
    reference::mcra2_run(state.get(), nullptr);
    EXPECT_EQ(3, state->frameCount);
  }
}

TEST(ModelDetector, TransitionParameters) {
  const auto state = detector(16000, kBinCount, 0.5f);
  EXPECT_EQ(0.64f, state->transA);
  EXPECT_EQ(0.32f, state->transB);
  EXPECT_FLOAT_EQ(0.36f, state->transAComp);
  EXPECT_FLOAT_EQ(0.68f, state->transBComp);
  EXPECT_FLOAT_EQ(1.7777778f, state->transRatio);
  EXPECT_NEAR(0.1111111f, state->transResid, 3e-7f);
  for (int k = 0; k < kBinCount; ++k) EXPECT_EQ(1.0f, state->speechPowerRatio[k]);

  const auto slow = detector(8000, kBinCount, 0.5f);
  EXPECT_EQ(1.28f, slow->transA);
  EXPECT_LT(slow->transAComp, 0.0f);
}

// What the lower limit of the ratio leads to in one bin, in double precision.
struct LowestBin {
  double xi = 0.01 * (0.001 - 1) + 0.99 * 0.001;
  double v = 0.2 * 0.001 * xi / (1 + xi);
  double likelihood = v - std::log(1 + xi);
};

TEST(ModelDetector, FirstFrameSitsAtTheLowerLimit) {
  const auto state = detector(16000, kBinCount, 0.5f);
  const std::vector<float> power(kBinCount, 3.0f);
  const float probability = reference::vad_run(state.get(), power.data());
  const LowestBin bin;
  EXPECT_NEAR(-0.009, bin.xi, 1e-9);
  for (int k = 0; k < kBinCount; ++k) {
    EXPECT_EQ(0.001f, state->postSnr[k]);
    EXPECT_NEAR(bin.xi, static_cast<double>(state->prioriSnr[k]), 1e-8);
    EXPECT_NEAR(bin.v, static_cast<double>(state->scaledSnr[k]), 1e-11);
    EXPECT_NEAR(bin.likelihood, static_cast<double>(state->binLogLikelihood[k]), 1e-7);
    EXPECT_TRUE(std::isnan(state->gain[k]));  // the root of a negative v
  }
  // log(0.5) + log(resid / (b + (1 - a)) + ratio) + mean, from a log-likelihood of 0.
  const double g = std::log(0.5) + std::log((1.0 / 9) / 0.68 + 16.0 / 9) + bin.likelihood;
  EXPECT_NEAR(g, static_cast<double>(state->logLikelihood), 1e-6);
  EXPECT_NEAR(1 / (1 + std::exp(-g)), static_cast<double>(probability), 1e-6);
}

TEST(ModelDetector, BinWithoutNoiseOrInputSitsAtTheUpperLimit) {
  const auto state = detector(16000, 1, 0.5f);
  const float nothing = 0.0f;
  reference::vad_run(state.get(), &nothing);
  EXPECT_EQ(1000.0f, state->postSnr[0]);
  const double xi = 0.01 * 999 + 0.99 * 1000;
  const double v = 0.2 * 1000 * xi / (1 + xi);
  EXPECT_NEAR(xi, static_cast<double>(state->prioriSnr[0]), 1e-3);
  EXPECT_NEAR(v, static_cast<double>(state->scaledSnr[0]), 1e-4);
  EXPECT_NEAR(v - std::log(1 + xi), static_cast<double>(state->meanLogLikelihood), 1e-4);
  // exp(-v/2) makes the gain vanish here, but not to zero.
  const double bracket = v * ::j1(v / 2) + (v + 1) * ::j0(v / 2);
  const double gain = std::sqrt(v) * std::sqrt(kPi) / 2 / 1000 * std::exp(-v / 2) * bracket;
  ASSERT_GT(std::fabs(gain), 1e-45);
  EXPECT_NEAR(gain, static_cast<double>(state->gain[0]), 1e-3 * std::fabs(gain) + 1e-45);
}

TEST(ModelDetector, GainAndSpeechPowerOfAnOrdinaryRatio) {
  const auto state = detector(16000, 1, 0.5f);
  float power = 1.0f;
  reference::vad_run(state.get(), &power);
  power = 50.0f;
  reference::vad_run(state.get(), &power);
  const double gamma = static_cast<double>(state->mcra->inputPower[0]) /
                       static_cast<double>(state->mcra->noisePower[0]);
  ASSERT_GT(gamma, 10);
  const double xi = gamma - 0.01;  // (1 - 0.99)(gamma - 1) + 0.99 gamma
  const double v = 0.2 * gamma * xi / (1 + xi);
  const double gain =
      std::sqrt(v * kPi) / 2 / gamma * std::exp(-v / 2) * (v * ::j1(v / 2) + (v + 1) * ::j0(v / 2));
  EXPECT_NEAR(1.0, static_cast<double>(state->gain[0]) / gain, 4e-7);
  EXPECT_NEAR(1.0, static_cast<double>(state->speechPowerRatio[0]) / (gain * gain * gamma), 4e-7);
}

TEST(ModelDetector, OnsetTakesThreeFramesAndHangoverFive) {
  const auto state = detector(16000, 1, 0.5f);
  const float power = 1.0f;
  const auto decide = [&](bool above) {
    state->threshold = above ? -1.0f : 2.0f;
    reference::vad_run(state.get(), &power);
    return state->decision;
  };
  EXPECT_EQ(0, decide(true));
  EXPECT_EQ(0, decide(true));
  EXPECT_EQ(0, decide(false));
  EXPECT_EQ(0, state->onsetCount);
  EXPECT_EQ(0, decide(true));
  EXPECT_EQ(0, decide(true));
  EXPECT_EQ(1, decide(true));
  EXPECT_EQ(0, state->noiseState);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(1, decide(false));
  EXPECT_EQ(1, decide(true));
  for (int i = 0; i < 4; ++i) EXPECT_EQ(1, decide(false));
  EXPECT_EQ(0, decide(false));
  EXPECT_EQ(1, state->noiseState);
  state->noiseState = 2;
  state->decision = 1;
  EXPECT_EQ(0, decide(true));
  EXPECT_EQ(2, state->noiseState);
}

TEST(ModelDetector, NotANumberIsNotAboveTheThreshold) {
  const auto state = detector(16000, 1, -1.0f);
  const float power = 1.0f;
  state->logLikelihood = kNan;
  state->onsetCount = 2;
  EXPECT_TRUE(std::isnan(reference::vad_run(state.get(), &power)));
  EXPECT_EQ(0, state->decision);
  EXPECT_EQ(0, state->onsetCount);
}

TEST(ModelDetector, NullRecords) {
  EXPECT_EQ(nullptr, reference::vad_init(nullptr));
  EXPECT_EQ(nullptr, reference::mcra2_init(nullptr));
  const float power = 1.0f;
  EXPECT_EQ(-1.0f, reference::vad_run(nullptr, &power));
  reference::mcra2_run(nullptr, &power);
}

}  // namespace
