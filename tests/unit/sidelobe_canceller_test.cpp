// SPDX-License-Identifier: MIT
#include "bf/record_stages.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "base/reciprocal.h"
#include "reference/arithmetic.h"
#include "support/bits.h"
#include "support/twins.h"

namespace vekbf::test {
namespace {

// A record as the presence gain leaves it, with the constants of a configuration.
struct Stage {
  explicit Stage(int32_t mics = 1) : buffer(0), record(*buffer.instance()) {
    record.micNum = mics;
    record.blockCounter = 2;
    record.blockPowerSmoothing = 0.95f;
    record.beamPowerSmoothing = 0.95f;
    record.blockStepSize = 0.05f;
    record.cancelStepSize = 0.03f;
    record.cancelRegularizer = 0.001f;
    record.blockRegularizer = 0.001f;
    for (float& gain : record.presenceGain) gain = 1.0f;
  }
  void randomise(uint64_t seed) {
    Random random(seed);
    const auto fill = [&](Complex* row, float peak) {
      for (int k = 0; k < kBinCount; ++k) row[k] = {peak * random.unit(), peak * random.unit()};
    };
    fill(record.fixedBeam, 1e4f);
    for (int m = 0; m < kMaxMics; ++m) {
      fill(record.savedSpectrum[m], 1e4f);
      fill(record.blockWeights[m], 1.0f);
      fill(record.cancelWeights[m], 1.0f);
    }
    for (int k = 0; k < kBinCount; ++k) {
      record.beamPower[k] = reference::power(record.fixedBeam[k]);
      record.beamPowerSmooth[k] = 1e8f * std::fabs(random.unit());
      record.blockPowerSmooth[k] = 1e8f * std::fabs(random.unit());
      record.presenceGain[k] = std::fabs(random.unit());
    }
  }
  void run() { cancel_sidelobes(record); }

  WorkBuffer buffer;
  Instance& record;
};

TEST(Gate, KeepsBinsAtAndAboveTheThresholdAndScalesTheOthers) {
  for (uint32_t intensity = 0; intensity <= 10; ++intensity) {
    const auto threshold = static_cast<float>(static_cast<double>(intensity) * 0.1);
    // Not the subnormal next to 0, which 32-bit ARM takes for 0.
    const float below =
        intensity == 0 ? -std::numeric_limits<float>::min() : std::nextafter(threshold, -1.0f);
    const float above = std::nextafter(threshold, 2.0f);
    Stage stage;
    stage.record.intensity = intensity;
    const float gains[] = {below, threshold, above};
    for (int k = 0; k < kBinCount; ++k) {
      stage.record.presenceGain[k] = gains[k % 3];
      stage.record.fixedBeam[k] = {3.7f, -1.9f};
    }
    stage.run();
    for (int k = 0; k < kBinCount; ++k) {
      const float scale = k % 3 == 0 ? below : 1.0f;
      const Complex expected{scale * 3.7f, scale * -1.9f};
      EXPECT_TRUE(same_spectra(&stage.record.refBeam[k], &expected, 1))
          << "intensity " << intensity << ", bin " << k;
    }
  }
}

TEST(Gate, IntensityZeroNeverAttenuates) {
  Stage stage;
  stage.randomise(361);
  stage.record.intensity = 0;
  stage.record.presenceGain[5] = 0.0f;
  stage.run();
  EXPECT_TRUE(same_spectra(stage.record.refBeam, stage.record.fixedBeam, kBinCount));
}

TEST(Gate, IntensityTenKeepsOnlyBinsWhoseGainIsOne) {
  Stage stage;
  stage.randomise(362);
  stage.record.intensity = 10;
  stage.record.presenceGain[7] = 1.0f;
  stage.record.presenceGain[8] = std::nextafter(1.0f, 0.0f);
  stage.run();
  for (int k = 0; k < kBinCount; ++k) {
    const float gain = stage.record.presenceGain[k];
    const Complex beam = stage.record.fixedBeam[k];
    const Complex expected = gain >= 1.0f ? beam : Complex{gain * beam.re, gain * beam.im};
    EXPECT_TRUE(same_spectra(&stage.record.refBeam[k], &expected, 1)) << k;
  }
}

TEST(Gate, AGainThatIsNotANumberScales) {
  Stage stage;
  stage.record.presenceGain[3] = NAN;
  stage.record.fixedBeam[3] = {1.0f, 1.0f};
  stage.run();
  EXPECT_TRUE(std::isnan(stage.record.refBeam[3].re));
}

TEST(Blocking, RoundsItsTwoPartsInTheirOwnOrders) {
  Stage stage(4);
  stage.randomise(363);
  Stage before(4);
  before.randomise(363);
  stage.run();
  int other_re = 0;
  int other_im = 0;
  for (int m = 0; m < 4; ++m) {
    for (int k = 0; k < kBinCount; ++k) {
      const Complex x = before.record.savedSpectrum[m][k];
      const Complex w = before.record.blockWeights[m][k];
      const Complex r = stage.record.refBeam[k];
      const float first = x.re + w.im * r.im;
      const float second = w.im * r.re + w.re * r.im;
      const Complex expected{first - w.re * r.re, x.im - second};
      ASSERT_TRUE(same_spectra(&stage.record.blockOutput[m][k], &expected, 1)) << m << " " << k;
      other_re += expected.re != x.re - (w.re * r.re - w.im * r.im);
      other_im += expected.im != (x.im - w.im * r.re) - w.re * r.im;
    }
  }
  // The usual orders would have been noticed.
  EXPECT_GT(other_re, 50);
  EXPECT_GT(other_im, 50);
}

TEST(Canceller, AddsWholeProductsAndPowersInMicrophoneOrderFromZero) {
  for (int32_t mics = 1; mics <= 4; ++mics) {
    Stage stage(mics);
    stage.randomise(364);
    Stage before(mics);
    before.randomise(364);
    for (Complex& bin : stage.record.cancelSum) bin = {1e9f, 1e9f};
    for (float& sum : stage.record.blockPowerSum) sum = 1e9f;
    stage.run();
    for (int k = 0; k < kBinCount; ++k) {
      Complex sum{0.0f, 0.0f};
      float power = 0.0f;
      for (int m = 0; m < mics; ++m) {
        const Complex c = before.record.cancelWeights[m][k];
        const Complex e = stage.record.blockOutput[m][k];
        const float re = c.re * e.re - c.im * e.im;
        const float im = c.re * e.im + c.im * e.re;
        sum = {sum.re + re, sum.im + im};
        power = power + reference::power(e);
      }
      ASSERT_TRUE(same_spectra(&stage.record.cancelSum[k], &sum, 1)) << k;
      ASSERT_TRUE(same_bits(stage.record.blockPowerSum[k], power)) << k;
    }
  }
}

// The square root of a sum of squares would give not-a-number: infinite is the magnitude of a value
// with one infinite part, whatever the other.
TEST(Canceller, APowerWithAnInfinitePartIsInfinite) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  constexpr float kNotANumber = std::numeric_limits<float>::quiet_NaN();
  constexpr int32_t kMics = 4;
  for (int32_t odd = 0; odd < kMics; ++odd) {
    for (const int k : {0, 2, 101, 255, 256}) {
      Stage stage(kMics);
      stage.randomise(366);
      std::memset(stage.record.blockWeights, 0, sizeof stage.record.blockWeights);
      stage.record.savedSpectrum[odd][k] = {kInfinity, kNotANumber};
      stage.run();
      for (int j = 0; j < kBinCount; ++j) {
        float power = 0.0f;
        for (int m = 0; m < kMics; ++m) power += reference::power(stage.record.savedSpectrum[m][j]);
        EXPECT_EQ(j == k, std::isinf(power)) << j;
        ASSERT_TRUE(same_bits(stage.record.blockPowerSum[j], power)) << odd << ' ' << k << ' ' << j;
      }
      stage.record.savedSpectrum[odd][k] = {kNotANumber, 1.0f};
      stage.run();
      EXPECT_TRUE(std::isnan(stage.record.blockPowerSum[k]));
    }
  }
}

TEST(Canceller, SubtractsFromTheUngatedBeam) {
  Stage stage(2);
  stage.randomise(365);
  stage.record.intensity = 10;
  stage.run();
  for (int k = 0; k < kBinCount; ++k) {
    const Complex beam = stage.record.fixedBeam[k];
    const Complex sum = stage.record.cancelSum[k];
    const Complex expected{beam.re - sum.re, beam.im - sum.im};
    ASSERT_TRUE(same_spectra(&stage.record.outBeam[k], &expected, 1)) << k;
  }
}

TEST(PowerSmoothing, TheFirstBlockIsTakenAsItIs) {
  Stage stage(2);
  stage.randomise(366);
  stage.record.blockCounter = 1;
  stage.run();
  EXPECT_TRUE(same_floats(stage.record.beamPowerSmooth, stage.record.beamPower, kBinCount));
  EXPECT_TRUE(same_floats(stage.record.blockPowerSmooth, stage.record.blockPowerSum, kBinCount));
}

TEST(PowerSmoothing, LaterBlocksAreWeightedAgainstThePast) {
  for (int32_t counter : {2, 3, 1000000, 0, -1}) {
    Stage stage(2);
    stage.randomise(367);
    Stage before(2);
    before.randomise(367);
    // Different ones, so that a mix-up shows.
    stage.record.beamPowerSmoothing = 0.9f;
    stage.record.blockPowerSmoothing = 0.8f;
    stage.record.blockCounter = counter;
    stage.run();
    for (int k = 0; k < kBinCount; ++k) {
      const float beam = 0.9f * before.record.beamPowerSmooth[k];
      const float block = 0.8f * before.record.blockPowerSmooth[k];
      const float new_beam = (1.0f - 0.9f) * stage.record.beamPower[k];
      const float new_block = (1.0f - 0.8f) * stage.record.blockPowerSum[k];
      ASSERT_TRUE(same_bits(stage.record.beamPowerSmooth[k], beam + new_beam)) << k;
      ASSERT_TRUE(same_bits(stage.record.blockPowerSmooth[k], block + new_block)) << k;
    }
  }
}

TEST(Steps, ComeFromTheRefinedReciprocalButForTheLastBin) {
  Stage stage(2);
  stage.randomise(368);
  // Different ones, as large as the powers, so that a mix-up shows.
  stage.record.blockRegularizer = 3e7f;
  stage.record.cancelRegularizer = 7e7f;
  stage.run();
  int inexact = 0;
  for (int k = 0; k < kBinCount; ++k) {
    const float beam = stage.record.beamPowerSmooth[k] + 3e7f;
    const float block = stage.record.blockPowerSmooth[k] + 7e7f;
    const bool last = k == 256;
    EXPECT_TRUE(same_bits(stage.record.blockStep[k],
                          last ? 0.05f / beam : 0.05f * reciprocal_two_step(beam)))
        << k;
    EXPECT_TRUE(same_bits(stage.record.cancelStep[k],
                          last ? 0.03f / block : 0.03f * reciprocal_two_step(block)))
        << k;
    inexact += stage.record.blockStep[k] != 0.05f / beam;
  }
  EXPECT_GT(inexact, 20);
}

// The reciprocal of bin 256 must be the true quotient wherever the refined one is not.
TEST(Steps, TheLastBinIsDividedExactly) {
  int decided = 0;
  for (int i = 0; i < 100; ++i) {
    Stage stage;
    stage.record.blockCounter = 1;
    const float power = 1.0f + 0.01f * static_cast<float>(i);
    stage.record.beamPower[255] = power;
    stage.record.beamPower[256] = power;
    stage.run();
    const float divisor = power + 0.001f;
    EXPECT_EQ(stage.record.blockStep[256], 0.05f / divisor);
    EXPECT_EQ(stage.record.blockStep[255], 0.05f * reciprocal_two_step(divisor));
    decided += stage.record.blockStep[255] != stage.record.blockStep[256];
  }
  EXPECT_GT(decided, 5);
}

// Outside its domain, which begins at the lowest normal number, the reciprocal differs between
// machines; powers are never negative, so the regularizer keeps the divisors inside.
TEST(Steps, TheSmallestDivisorIsTheRegularizer) {
  Stage stage(4);
  stage.run();
  for (int k = 0; k < 256; ++k) {
    EXPECT_EQ(stage.record.blockStep[k], 0.05f * reciprocal_two_step(0.001f));
    EXPECT_EQ(stage.record.cancelStep[k], 0.03f * reciprocal_two_step(0.001f));
    EXPECT_NEAR(stage.record.blockStep[k], 50.0f, 1e-4f);
    EXPECT_NEAR(stage.record.cancelStep[k], 30.0f, 1e-4f);
  }
}

TEST(Steps, InfinitePowersStopTheAdaptation) {
  Stage stage;
  stage.record.blockCounter = 1;
  for (float& power : stage.record.beamPower) power = INFINITY;
  stage.run();
  for (float step : stage.record.blockStep) EXPECT_EQ(step, 0.0f);
}

TEST(Adaptation, IsNormalisedLeastMeanSquares) {
  Stage stage(4);
  stage.randomise(369);
  Stage before(4);
  before.randomise(369);
  stage.run();
  for (int m = 0; m < 4; ++m) {
    for (int k = 0; k < kBinCount; ++k) {
      const Complex e = stage.record.blockOutput[m][k];
      const Complex r = stage.record.refBeam[k];
      const Complex out = stage.record.outBeam[k];
      const float block = stage.record.blockStep[k];
      const float cancel = stage.record.cancelStep[k];
      const Complex w = before.record.blockWeights[m][k];
      const Complex c = before.record.cancelWeights[m][k];
      const float er = e.re * r.re + e.im * r.im;
      const float ei = e.im * r.re - e.re * r.im;
      const float outr = out.re * e.re + out.im * e.im;
      const float outi = out.im * e.re - out.re * e.im;
      const Complex new_w{w.re + block * er, w.im + block * ei};
      const Complex new_c{c.re + cancel * outr, c.im + cancel * outi};
      ASSERT_TRUE(same_spectra(&stage.record.blockWeights[m][k], &new_w, 1)) << m << " " << k;
      ASSERT_TRUE(same_spectra(&stage.record.cancelWeights[m][k], &new_c, 1)) << m << " " << k;
    }
  }
}

TEST(Adaptation, LearnsToBlockTheReference) {
  // A microphone that hears (2 + i) times the beam: the blocking output fades.
  Stage stage;
  for (int frame = 0; frame < 200; ++frame) {
    stage.record.blockCounter = frame + 1;
    for (int k = 0; k < kBinCount; ++k) {
      stage.record.fixedBeam[k] = {30.0f, 40.0f};
      stage.record.beamPower[k] = 2500.0f;
      stage.record.savedSpectrum[0][k] = {20.0f, 110.0f};
    }
    stage.run();
  }
  for (int k = 0; k < kBinCount; ++k) {
    EXPECT_NEAR(stage.record.blockWeights[0][k].re, 2.0f, 1e-3f);
    EXPECT_NEAR(stage.record.blockWeights[0][k].im, 1.0f, 1e-3f);
    EXPECT_LT(reference::power(stage.record.blockOutput[0][k]), 1e-3f);
  }
}

TEST(SidelobeCanceller, TouchesTheRowsOfItsMicrophonesOnly) {
  for (int32_t mics = -1; mics <= 4; ++mics) {
    Stage stage(mics);
    stage.randomise(370);
    Stage before(mics);
    before.randomise(370);
    stage.run();
    for (int m = 0; m < kMaxMics; ++m) {
      const bool used = m < mics;
      EXPECT_EQ(bytes_of(stage.record.blockWeights[m]) == bytes_of(before.record.blockWeights[m]),
                !used);
      EXPECT_EQ(bytes_of(stage.record.cancelWeights[m]) == bytes_of(before.record.cancelWeights[m]),
                !used);
      EXPECT_EQ(bytes_of(stage.record.blockOutput[m]) == bytes_of(before.record.blockOutput[m]),
                !used);
      EXPECT_EQ(bytes_of(stage.record.savedSpectrum[m]), bytes_of(before.record.savedSpectrum[m]));
    }
  }
}

}  // namespace
}  // namespace vekbf::test
