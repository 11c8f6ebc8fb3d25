// SPDX-License-Identifier: MIT
//
// The plain model's steering and frames, against values worked out by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <vector>

#include "reference/model.h"
#include "support/model_states.h"
#include "support/random.h"

namespace {

using vekbf::kBinCount;
using vekbf::kFrameSize;
using vekbf::kHopSize;
using Beam = vekbf::test::ModelBeam;
using vekbf::test::Random;

constexpr double kPi = 3.14159265358979323846;

TEST(ModelSteering, LineDelaysFollowTheCosine) {
  Beam beam(4, VEK_FIXED_BF);
  for (const int32_t angle : {-450, 0, 37, 90, 120, 180, 3000}) {
    reference::compute_steering(beam.get(), angle);
    for (int m = 0; m < 4; ++m) {
      const double delay = 0.05 * m * std::cos(angle * kPi / 180) / 343;
      EXPECT_NEAR(delay, static_cast<double>(beam->micDelay[m]), 1e-10);
      EXPECT_EQ(1.0f, beam->steerTable[m][0].re);
      EXPECT_TRUE(std::signbit(beam->steerTable[m][0].im));
      for (int k = 0; k < kBinCount; ++k) {
        const double phase = 2 * kPi * k * 16000 / 512 * delay;
        // The phase is single precision and below 23 radians.
        EXPECT_NEAR(std::cos(phase), static_cast<double>(beam->steerTable[m][k].re), 6e-6);
        EXPECT_NEAR(-std::sin(phase), static_cast<double>(beam->steerTable[m][k].im), 6e-6);
      }
    }
  }
}

TEST(ModelSteering, FirstMicrophoneOfALineIsTheReference) {
  Beam beam(2, VEK_FIXED_BF);
  reference::compute_steering(beam.get(), 120);
  for (int k = 0; k < kBinCount; ++k) {
    EXPECT_EQ(1.0f, beam->steerTable[0][k].re);
    EXPECT_EQ(0.0f, beam->steerTable[0][k].im);
    // The cosine is negative, so is the delay's zero.
    EXPECT_EQ(k == 0, std::signbit(beam->steerTable[0][k].im)) << k;
  }
}

TEST(ModelSteering, CircleDelaysAreThoseOfQuarterTurns) {
  Beam beam(4, VEK_FIXED_BF, 0.1f, 0, VEK_BF_UNIFORM_TRIANGLE_ARRAY);
  EXPECT_EQ(0.1f, beam->arrayRadius);
  EXPECT_EQ(0.0f, beam->micPlacement[0]);
  EXPECT_EQ(1.5707964f, beam->micPlacement[1]);
  EXPECT_EQ(3.1415927f, beam->micPlacement[2]);
  EXPECT_EQ(4.712389f, beam->micPlacement[3]);
  reference::compute_steering(beam.get(), 0);
  EXPECT_EQ(1.0f, beam->micProjection[0]);
  EXPECT_EQ(-1.0f, beam->micProjection[2]);
  const double radius = static_cast<double>(0.1f);
  EXPECT_EQ(static_cast<float>(radius * 0.999999999999999 / 343.0), beam->micDelay[0]);
  for (int m = 0; m < 4; ++m) {
    reference::compute_steering(beam.get(), 90 * m + 60);
    EXPECT_NEAR(0.1 * 0.5 / 343, static_cast<double>(beam->micDelay[m]), 1e-10);
  }
}

// Where r cos/c lies exactly between two floats, the factor just below one decides for the lower.
TEST(ModelSteering, RadiusOfACircleIsAHairSmaller) {
  Beam beam(4, VEK_FIXED_BF, 3.0f, 0, VEK_BF_UNIFORM_TRIANGLE_ARRAY);
  beam->soundSpeed = 1;
  int ties = 0;
  for (int angle = 0; angle < 360; ++angle) {
    reference::compute_steering(beam.get(), angle);
    for (int m = 0; m < 4; ++m) {
      const double exact = 3.0 * std::fabs(static_cast<double>(beam->micProjection[m]));
      const float delay = std::fabs(beam->micDelay[m]);
      const double rise = static_cast<double>(delay) - exact;
      const double next = static_cast<double>(std::nextafter(delay, 4.0f)) - exact;
      if (rise < 0.0 && next == -rise) ++ties;
      EXPECT_FALSE(rise > 0.0 && exact - static_cast<double>(std::nextafter(delay, 0.0f)) == rise)
          << angle << " " << m;
    }
  }
  EXPECT_GT(ties, 100);
}

TEST(ModelSteering, OtherGeometriesKeepTheirTables) {
  Beam beam(4, VEK_FIXED_BF, 0.1f, 0, VEK_BF_UNIFORM_CIRCULAR_ARRAY);
  beam->micDelay[1] = 5.0f;
  reference::compute_steering(beam.get(), 10);
  EXPECT_EQ(5.0f, beam->micDelay[1]);
  EXPECT_EQ(0.0f, beam->steerTable[0][0].re);
}

TEST(ModelFixedFrame, SingleMicrophoneComesOutDelayedByThreeHops) {
  Beam beam(1, VEK_FIXED_BF);
  Random random(5);
  std::vector<int16_t> in(12 * kHopSize);
  std::vector<int16_t> out(in.size());
  for (int16_t& sample : in) sample = random.sample();
  for (size_t at = 0; at < in.size(); at += kHopSize) {
    ASSERT_EQ(VEK_BF_OK, reference::run(beam.get(), &in[at], &out[at], 33));
  }
  // Four squared windows per sample, halved: 2 (0.54^2 + 0.46^2 / 2) = 0.7948. Each of the four
  // frames cuts up to one unit off.
  for (size_t i = 0; i + 3 * kHopSize < in.size(); ++i) {
    EXPECT_NEAR(0.7948 * in[i], out[i + 3 * kHopSize], 4.0) << i;
  }
  EXPECT_EQ(13, beam->blockCounter);
  EXPECT_EQ(33, beam->steerAngle);
}

TEST(ModelFixedFrame, WeightsEachProductThenAddsInOrder) {
  Beam beam(3, VEK_FIXED_BF);
  beam->steerAngle = 20;
  Random random(6);
  for (auto& row : beam->micSpectrum) {
    for (Complex& bin : row) bin = {1e6f * random.unit(), 1e6f * random.unit()};
  }
  // Bin 100 alone: the result is a sampled cosine, windowed.
  std::complex<double> sum = 0;
  reference::compute_steering(beam.get(), 20);
  for (int m = 0; m < 3; ++m) {
    for (int k = 0; k < kBinCount; ++k) {
      if (k != 100) beam->micSpectrum[m][k] = {0.0f, 0.0f};
    }
    const Complex x = beam->micSpectrum[m][100];
    const Complex s = beam->steerTable[m][100];
    sum += std::complex<double>(x.re, x.im) * std::complex<double>(s.re, s.im) / 3.0;
  }
  reference::fixed_frame(beam.get());
  for (int n = 0; n < kFrameSize; ++n) {
    const double sample = 2.0 / 512 * std::real(sum * std::polar(1.0, 2 * kPi * 100 * n / 512.0));
    const double window = 0.54 - 0.46 * std::cos(2 * kPi * n / 512.0);
    EXPECT_NEAR(0.5 * sample * window, beam->outputOverlap[n], 1.01) << n;
  }
  EXPECT_EQ(0, std::memcmp(beam->savedSpectrum, beam->micSpectrum, 3 * kBinCount * 8));
}

TEST(ModelFixedFrame, OutputWrapsInsteadOfClipping) {
  Beam beam(1, VEK_FIXED_BF);
  // A constant of 80000 in every sample: 0.5 * 80000 = 40000 at the top of the window.
  beam->micSpectrum[0][0] = {512.0f * 80000.0f, 0.0f};
  reference::fixed_frame(beam.get());
  EXPECT_NEAR(40000 - 65536, beam->outputOverlap[256], 1);
  EXPECT_NEAR(3200, beam->outputOverlap[0], 1);
  reference::fixed_frame(beam.get());
  EXPECT_NEAR(80000 - 65536, beam->outputOverlap[256], 2);
}

// Two frames of the same spectrum, one microphone, the reference never attenuated: in every bin the
// coefficients are real numbers that do not depend on the signal.
TEST(ModelAdaptiveFrame, TwoFramesByHand) {
  Beam beam(1, VEK_ADAPTIVE_BF);
  Random random(8);
  for (Complex& bin : beam->micSpectrum[0]) {
    bin = {1e5f * (1.5f + random.unit()), 1e5f * random.unit()};
  }
  reference::adaptive_frame(beam.get());
  for (int k = 0; k < kBinCount; ++k) {
    const Complex x = beam->micSpectrum[0][k];
    const double power = static_cast<double>(x.re) * static_cast<double>(x.re) +
                         static_cast<double>(x.im) * static_cast<double>(x.im);
    EXPECT_FLOAT_EQ(x.re, beam->outBeam[k].re);
    EXPECT_NEAR(0.05, static_cast<double>(beam->blockWeights[0][k].re), 1e-7);
    EXPECT_NEAR(0.03, static_cast<double>(beam->cancelWeights[0][k].re), 1e-7);
    EXPECT_NEAR(1.0, static_cast<double>(beam->beamPowerSmooth[k]) / power, 1e-6);
    EXPECT_NEAR(1.0, static_cast<double>(beam->blockPowerSmooth[k]) / power, 1e-6);
  }
  beam->blockCounter = 2;
  reference::adaptive_frame(beam.get());
  for (int k = 0; k < kBinCount; ++k) {
    const Complex x = beam->micSpectrum[0][k];
    const double power = static_cast<double>(x.re) * static_cast<double>(x.re) +
                         static_cast<double>(x.im) * static_cast<double>(x.im);
    // E = 0.95 X, canceller 0.03 E, output 0.9715 X.
    const float size = std::hypot(x.re, x.im);
    EXPECT_NEAR(0.95f * x.re, beam->blockOutput[0][k].re, 1e-6f * size);
    EXPECT_NEAR(0.95f * x.im, beam->blockOutput[0][k].im, 1e-6f * size);
    EXPECT_NEAR(0.9715f * x.re, beam->outBeam[k].re, 1e-6f * size);
    EXPECT_NEAR(0.9715f * x.im, beam->outBeam[k].im, 1e-6f * size);
    const double block_power = 0.95 + 0.05 * 0.95 * 0.95;
    EXPECT_NEAR(block_power, static_cast<double>(beam->blockPowerSmooth[k]) / power, 1e-6);
    EXPECT_NEAR(1.0, static_cast<double>(beam->beamPowerSmooth[k]) / power, 1e-6);
    EXPECT_NEAR(0.05 + 0.05 * 0.95, static_cast<double>(beam->blockWeights[0][k].re), 1e-6);
    EXPECT_NEAR(0.03 + 0.03 * 0.9715 * 0.95 / block_power,
                static_cast<double>(beam->cancelWeights[0][k].re), 1e-6);
    EXPECT_NEAR(0.0, static_cast<double>(beam->cancelWeights[0][k].im), 1e-8);
  }
}

// A microphone that is the beam turned by a quarter: the sign conventions of the two conjugates.
TEST(ModelAdaptiveFrame, CoefficientsTurnWithTheMicrophone) {
  Beam beam(2, VEK_ADAPTIVE_BF);
  beam->steerAngle = 90;  // both rows of the table are 1
  for (int k = 0; k < kBinCount; ++k) {
    beam->micSpectrum[0][k] = {1e5f, 0.0f};
    beam->micSpectrum[1][k] = {0.0f, 2e5f};
  }
  reference::adaptive_frame(beam.get());
  // Beam B = 0.5e5 (1 + 2i), |B|^2 = 1.25e10; X_1 conj(B) = 2e5 i 0.5e5 (1 - 2i) = 1e10 (2 + i);
  // sum of |E|^2 = 5e10; B conj(X_1) = 1e10 (2 - i).
  for (int k = 0; k < kBinCount; ++k) {
    EXPECT_NEAR(0.05 * 1.6, static_cast<double>(beam->blockWeights[1][k].re), 1e-6);
    EXPECT_NEAR(0.05 * 0.8, static_cast<double>(beam->blockWeights[1][k].im), 1e-6);
    EXPECT_NEAR(0.03 * 0.4, static_cast<double>(beam->cancelWeights[1][k].re), 1e-6);
    EXPECT_NEAR(0.03 * -0.2, static_cast<double>(beam->cancelWeights[1][k].im), 1e-6);
    EXPECT_NEAR(5e10, static_cast<double>(beam->blockPowerSum[k]), 1e4);
  }
  // The plain product of the next frame: E = X - W B.
  beam->blockCounter = 2;
  reference::adaptive_frame(beam.get());
  const std::complex<double> e =
      std::complex<double>(0, 2e5) -
      std::complex<double>(0.08, 0.04) * std::complex<double>(0.5e5, 1e5);
  // The first microphone's coefficients: 0.05 (1e5 conj(B)) / |B|^2 = 0.05 (0.4 - 0.8i) and
  // 0.03 (B 1e5) / 5e10 = 0.03 (0.1 + 0.2i).
  const std::complex<double> e0 =
      1e5 - std::complex<double>(0.02, -0.04) * std::complex<double>(0.5e5, 1e5);
  const std::complex<double> cancelled =
      std::complex<double>(0.003, 0.006) * e0 + std::complex<double>(0.012, -0.006) * e;
  for (int k = 0; k < kBinCount; ++k) {
    EXPECT_NEAR(e.real(), static_cast<double>(beam->blockOutput[1][k].re), 0.1);
    EXPECT_NEAR(e.imag(), static_cast<double>(beam->blockOutput[1][k].im), 0.1);
    EXPECT_NEAR(cancelled.real(), static_cast<double>(beam->cancelSum[k].re), 0.1);
    EXPECT_NEAR(cancelled.imag(), static_cast<double>(beam->cancelSum[k].im), 0.1);
  }
}

TEST(ModelAdaptiveFrame, PresenceGainRunsUpTheBinsOnItsOwnValues) {
  Beam beam(1, VEK_ADAPTIVE_BF, 0.05f, 10);
  for (Complex& bin : beam->micSpectrum[0]) bin = {100.0f, 50.0f};
  reference::adaptive_frame(beam.get());  // speechProb stays 0 in the first frame
  double lower = 1.0;
  for (int k = 1; k < kBinCount - 1; ++k) {
    lower = 0.5 * 0.95 + 0.25 * (lower + 1.0);
    EXPECT_NEAR(lower, static_cast<double>(beam->presenceGain[k]), 1e-6) << k;
    // Below the threshold of 1 the reference is attenuated.
    EXPECT_NEAR(lower * 100, static_cast<double>(beam->refBeam[k].re), 1e-3);
  }
  EXPECT_EQ(1.0f, beam->presenceGain[0]);
  EXPECT_EQ(1.0f, beam->presenceGain[kBinCount - 1]);
  EXPECT_EQ(100.0f, beam->refBeam[0].re);
  EXPECT_EQ(100.0f, beam->refBeam[kBinCount - 1].re);
}

TEST(ModelAdaptiveFrame, BinExactlyAtTheThresholdIsKept) {
  Beam beam(1, VEK_ADAPTIVE_BF, 0.05f, 5);
  for (Complex& bin : beam->micSpectrum[0]) bin = {100.0f, 50.0f};
  beam->presenceGain[0] = 0.5f;
  beam->presenceGain[kBinCount - 1] = std::nextafter(0.5f, 0.0f);
  reference::adaptive_frame(beam.get());
  EXPECT_EQ(100.0f, beam->refBeam[0].re);
  EXPECT_EQ(50.0f, beam->refBeam[0].im);
  EXPECT_NEAR(50.0f, beam->refBeam[kBinCount - 1].re, 1e-4f);
}

TEST(ModelAdaptiveFrame, NothingInNothingOut) {
  Beam beam(2, VEK_ADAPTIVE_BF);
  reference::adaptive_frame(beam.get());
  for (int k = 0; k < kBinCount; ++k) {
    EXPECT_FLOAT_EQ(50.0f, beam->blockStep[k]);
    EXPECT_FLOAT_EQ(30.0f, beam->cancelStep[k]);
    EXPECT_EQ(0.0f, beam->blockWeights[1][k].re);
    EXPECT_EQ(0.0f, beam->cancelWeights[1][k].im);
  }
  EXPECT_EQ(0.05f / 0.001f, beam->blockStep[kBinCount - 1]);
  EXPECT_EQ(0.03f / 0.001f, beam->cancelStep[kBinCount - 1]);
  for (const int16_t sample : beam->outputOverlap) EXPECT_EQ(0, sample);
}

TEST(ModelAdaptiveFrame, BlockingCoefficientsSurviveAConfiguration) {
  Beam beam(1, VEK_ADAPTIVE_BF);
  for (Complex& bin : beam->micSpectrum[0]) bin = {1000.0f, 0.0f};
  reference::adaptive_frame(beam.get());
  const float weight = beam->blockWeights[0][7].re;
  ASSERT_NE(0.0f, weight);
  const VekBfConfig again = {0.25f, 3};
  ASSERT_EQ(VEK_BF_OK, reference::set_config(beam.get(), &again));
  EXPECT_EQ(weight, beam->blockWeights[0][7].re);
  EXPECT_EQ(0.0f, beam->cancelWeights[0][7].re);
  EXPECT_EQ(0.0f, beam->micSpectrum[0][7].re);
  EXPECT_EQ(1.0f, beam->presenceGain[7]);
  EXPECT_EQ(0.25f, beam->vadState->threshold);
  EXPECT_EQ(3u, beam->intensity);
}

}  // namespace
