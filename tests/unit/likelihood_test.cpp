// SPDX-License-Identifier: MIT
#include "noise/likelihood.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "math/amplitude_gain.h"
#include "math/log_rounded.h"
#include "support/bits.h"
#include "support/power_streams.h"

namespace {

using namespace vekbf::test;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNoNumber = std::numeric_limits<float>::quiet_NaN();

// A detector's per-bin arrays without an estimator.
class Bins {
 public:
  explicit Bins(int32_t count) : arrays_(7, std::vector<float>(count > 0 ? size_t(count) : 1)) {
    state.binCount = count;
    state.snrMax = 1000.0f;
    state.snrMin = 0.001f;
    state.snrSmoothing = 0.99f;
    state.scaledSnr = arrays_[0].data();
    state.binLogLikelihood = arrays_[1].data();
    state.postSnrMinusOne = arrays_[2].data();
    state.gain = arrays_[3].data();
    state.speechPowerRatio = arrays_[4].data();
    state.postSnr = arrays_[5].data();
    state.prioriSnr = arrays_[6].data();
  }

  VadState state = {};

 private:
  std::vector<std::vector<float>> arrays_;
};

// The clamped ratio at every position of a group of four and in the bin that is left over.
void expect_clamped(float power, float noise, float expected) {
  SCOPED_TRACE(testing::Message() << power << " / " << noise);
  Bins bins(5);
  const std::vector<float> powers(5, power), noises(5, noise);
  vekbf::bin_likelihoods(bins.state, powers.data(), noises.data());
  for (int k = 0; k < 5; ++k) {
    EXPECT_TRUE(same_floats(bins.state.postSnr + k, &expected, 1)) << "bin " << k;
    EXPECT_EQ(bins.state.postSnrMinusOne[k], expected - 1.0f);
  }
}

TEST(Likelihood, RatioIsClampedFromAbove) {
  expect_clamped(2000.0f, 1.0f, 1000.0f);
  expect_clamped(1000.0f, 1.0f, 1000.0f);
  expect_clamped(std::nextafter(1000.0f, 2000.0f), 1.0f, 1000.0f);
  expect_clamped(std::nextafter(1000.0f, 0.0f), 1.0f, std::nextafter(1000.0f, 0.0f));
  expect_clamped(1.0f, 0.0f, 1000.0f);
  expect_clamped(kInfinity, 1.0f, 1000.0f);
}

TEST(Likelihood, RatioIsClampedFromBelow) {
  expect_clamped(0.0f, 1.0f, 0.001f);
  expect_clamped(-0.0f, 1.0f, 0.001f);
  expect_clamped(-3.0f, 1.0f, 0.001f);
  expect_clamped(-kInfinity, 1.0f, 0.001f);
  expect_clamped(0.001f, 1.0f, 0.001f);
  expect_clamped(std::nextafter(0.001f, 1.0f), 1.0f, std::nextafter(0.001f, 1.0f));
  expect_clamped(1.0f, kInfinity, 0.001f);
}

TEST(Likelihood, RatioThatIsNoNumberBecomesTheUpperLimit) {
  expect_clamped(0.0f, 0.0f, 1000.0f);
  expect_clamped(kNoNumber, 1.0f, 1000.0f);
  expect_clamped(1.0f, kNoNumber, 1000.0f);
  expect_clamped(kInfinity, kInfinity, 1000.0f);
}

TEST(Likelihood, RatioBetweenTheLimitsIsATrueQuotient) {
  expect_clamped(1.0f, 3.0f, 1.0f / 3.0f);
  expect_clamped(7.0f, 9.3f, 7.0f / 9.3f);
}

// Ratios over the whole range, each bin beside its textbook formula in double. The tolerance
// is a few roundings of single precision, times the cancellation that each formula has.
TEST(Likelihood, EveryBinFollowsItsFormula) {
  constexpr int kCount = 1201;
  Bins bins(kCount);
  std::vector<float> powers(kCount), noises(kCount, 1.0f);
  for (int k = 0; k < kCount; ++k) {
    powers[static_cast<size_t>(k)] = std::pow(10.0f, 0.005f * static_cast<float>(k) - 3.0f);
  }
  vekbf::bin_likelihoods(bins.state, powers.data(), noises.data());
  for (int k = 0; k < kCount; ++k) {
    SCOPED_TRACE(testing::Message() << "ratio " << bins.state.postSnr[k]);
    const double gamma = bins.state.postSnr[k];
    const double xi = gamma - 0.01;
    EXPECT_NEAR(bins.state.prioriSnr[k], xi, 1e-6 + 2e-6 * gamma);

    // From here on the stored ratio is the input, so that its own rounding does not count.
    const double stored = bins.state.prioriSnr[k];
    const double v = 0.2 * gamma * stored / (1.0 + stored);
    EXPECT_NEAR(bins.state.scaledSnr[k], v, 1e-6 * std::fabs(v));
    EXPECT_NEAR(bins.state.binLogLikelihood[k], v - std::log(1.0 + stored),
                1e-6 * (1.0 + std::fabs(v)));
    const double w = bins.state.scaledSnr[k];
    if (w < 0.0) {
      EXPECT_TRUE(std::isnan(bins.state.gain[k]));
      EXPECT_TRUE(std::isnan(bins.state.speechPowerRatio[k]));
      continue;
    }
    const double half = w / 2;
    const double scale =
        std::sqrt(3.14159265358979323846) / 2 * std::sqrt(w) / gamma * std::exp(-w / 2);
    const double gain = scale * ((1 + w) * ::j0(half) + w * ::j1(half));
    EXPECT_NEAR(bins.state.gain[k], gain, 1e-6 * scale * (1 + w) + 0x1p-149);
    const float ratio = bins.state.gain[k] * (bins.state.gain[k] * bins.state.postSnr[k]);
    EXPECT_TRUE(same_floats(bins.state.speechPowerRatio + k, &ratio, 1, kFlushes));
  }
}

TEST(Likelihood, GainUsesTheOrdinaryBesselFunctions) {
  // The modified ones would make the gain tend to 1 for loud bins; these make it vanish.
  Bins bins(1);
  const float power = 900.0f, noise = 1.0f;
  vekbf::bin_likelihoods(bins.state, &power, &noise);
  EXPECT_LT(std::fabs(bins.state.gain[0]), 1e-30f);
}

TEST(Likelihood, NegativeAprioriRatioGivesNoGain) {
  Bins bins(5);
  const std::vector<float> powers(5, 0.0f), noises(5, 1.0f);
  vekbf::bin_likelihoods(bins.state, powers.data(), noises.data());
  for (int k = 0; k < 5; ++k) {
    EXPECT_LT(bins.state.prioriSnr[k], 0.0f);
    EXPECT_LT(bins.state.scaledSnr[k], 0.0f);
    EXPECT_TRUE(std::isnan(bins.state.gain[k]));
  }
}

// A detector whose parameters were changed leaves the domain of the tables.
TEST(Likelihood, OtherParametersGoByTheLibraryFunctions) {
  const float limits[][3] = {{1e6f, 0.001f, 0.99f},   {1000.0f, 1e-9f, 0.99f},
                             {1000.0f, 0.001f, 0.5f}, {1000.0f, 0.001f, 3.0f},
                             {1000.0f, 2e4f, 0.99f},  {1e-9f, 0.001f, 0.99f},
                             {1e-9f, 2e4f, 0.99f},    {kNoNumber, kNoNumber, kNoNumber}};
  for (const auto& [highest, lowest, smoothing] : limits) {
    SCOPED_TRACE(testing::Message() << lowest << " to " << highest << ", " << smoothing);
    Bins bins(9);
    bins.state.snrMax = highest;
    bins.state.snrMin = lowest;
    bins.state.snrSmoothing = smoothing;
    const std::vector<float> powers = {0.0f, 1e-8f, 1e-4f, 0.5f, 3.0f, 40.0f, 700.0f, 2e4f, 5e5f};
    const std::vector<float> noises(9, 1.0f);
    vekbf::bin_likelihoods(bins.state, powers.data(), noises.data());
    for (int k = 0; k < 9; ++k) {
      const float gamma = bins.state.postSnr[k];
      const float v = bins.state.scaledSnr[k];
      const float likelihood = v - vekbf::log_rounded_plain(bins.state.prioriSnr[k] + 1.0f);
      const float gain = vekbf::amplitude_gain_plain(v, gamma);
      EXPECT_TRUE(same_floats(bins.state.binLogLikelihood + k, &likelihood, 1));
      EXPECT_TRUE(same_floats(bins.state.gain + k, &gain, 1));
    }
  }
}

TEST(Likelihood, MeanIsSummedInTheOrderOfTheBins) {
  // Large in the first bin: every later addition rounds, so that any other order shows.
  constexpr int kCount = 257;
  Bins bins(kCount);
  std::vector<float> powers(kCount), noises(kCount, 1.0f);
  for (size_t k = 0; k < powers.size(); ++k)
    powers[k] = k == 0 ? 1000.0f : 0.02f + 0.001f * float(k);
  vekbf::bin_likelihoods(bins.state, powers.data(), noises.data());
  float ascending = 0.0f;
  for (int k = 0; k < kCount; ++k) ascending += bins.state.binLogLikelihood[k];
  float lanes[4] = {};
  for (int k = 0; k < kCount; ++k) lanes[k % 4] += bins.state.binLogLikelihood[k];
  ASSERT_NE(ascending, (lanes[0] + lanes[1]) + (lanes[2] + lanes[3])) << "the input shows no order";
  EXPECT_EQ(bins.state.meanLogLikelihood, ascending / 257.0f);
}

TEST(Likelihood, MeanOverNoBinsIsNoNumber) {
  Bins bins(0);
  bins.state.meanLogLikelihood = 1.0f;
  vekbf::bin_likelihoods(bins.state, nullptr, nullptr);
  EXPECT_TRUE(std::isnan(bins.state.meanLogLikelihood));

  Bins negative(-7);
  vekbf::bin_likelihoods(negative.state, nullptr, nullptr);
  EXPECT_TRUE(std::signbit(negative.state.meanLogLikelihood));
  EXPECT_EQ(negative.state.meanLogLikelihood, 0.0f);
}

}  // namespace
