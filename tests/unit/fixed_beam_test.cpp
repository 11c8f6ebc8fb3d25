// SPDX-License-Identifier: MIT
#include "bf/record_stages.h"

#include <gtest/gtest.h>

#include <cmath>

#include "bf/steering.h"
#include "reference/arithmetic.h"
#include "support/bits.h"
#include "support/twins.h"

namespace vekbf::test {
namespace {

// A record of which steering has been done.
struct Steered {
  explicit Steered(int32_t mics, int32_t angle = 90) : buffer(0), record(*buffer.instance()) {
    record.sampleRate = 16000;
    record.soundSpeed = 343;
    record.micNum = mics;
    for (int m = 0; m < kMaxMics; ++m) record.micPlacement[m] = 0.04f * static_cast<float>(m);
    compute_steering(&record, angle);
  }

  WorkBuffer buffer;
  Instance& record;
};

TEST(FixedBeam, IsTheScaledSumOfTheSteeredSpectraInOrder) {
  for (int32_t mics = 1; mics <= 4; ++mics) {
    Steered s(mics, 35);
    Random random(341);
    randomise_spectra(s.record, random, 1e6f);
    form_fixed_beam(s.record);
    const float share = 1.0f / static_cast<float>(mics);
    for (int k = 0; k < kBinCount; ++k) {
      Complex sum{0.0f, 0.0f};
      for (int m = 0; m < mics; ++m) {
        const Complex w = s.record.steerTable[m][k];
        const Complex x = s.record.micSpectrum[m][k];
        const float re = w.re * x.re - w.im * x.im;
        const float im = w.re * x.im + w.im * x.re;
        sum = {sum.re + re, sum.im + im};
      }
      const Complex beam{share * sum.re, share * sum.im};
      ASSERT_TRUE(same_spectra(&s.record.fixedBeam[k], &beam, 1)) << "bin " << k;
    }
  }
}

// Unlike the fixed path, which scales each product: here these sums cancel exactly before that.
TEST(FixedBeam, ScalesTheSumAndNotItsTerms) {
  Steered s(3);
  const float third = 1.0f / 3.0f;
  const float a = 0x1.000002p40f;
  const float b = -0x1p40f;
  ASSERT_NE(third * (a + b), a * third + b * third);
  for (int k : {0, 1, 255, 256}) {
    s.record.micSpectrum[0][k].re = a;
    s.record.micSpectrum[1][k].re = b;
  }
  // No delays at all, so that the products are exact.
  s.record.sampleRate = 0;
  compute_steering(&s.record, 90);
  form_fixed_beam(s.record);
  for (int k : {0, 1, 255, 256}) EXPECT_EQ(s.record.fixedBeam[k].re, third * (a + b)) << k;
}

TEST(FixedBeam, PowerIsTheMagnitudeSquaredNotTheSumOfSquares) {
  Steered s(1);
  Random random(342);
  randomise_spectra(s.record, random, 1e5f);
  form_fixed_beam(s.record);
  int decided = 0;
  for (int k = 0; k < kBinCount; ++k) {
    const Complex beam = s.record.fixedBeam[k];
    const float size = reference::magnitude(beam);
    EXPECT_TRUE(same_bits(s.record.beamPower[k], size * size)) << k;
    decided += size * size != beam.re * beam.re + beam.im * beam.im;
  }
  EXPECT_GT(decided, 20);
}

TEST(FixedBeam, StartsFromZeroAndNotFromTheLastFrame) {
  Steered s(2);
  Random random(343);
  randomise_spectra(s.record, random, 1e5f);
  form_fixed_beam(s.record);
  const auto once = bytes_of(s.record.fixedBeam);
  form_fixed_beam(s.record);
  EXPECT_EQ(bytes_of(s.record.fixedBeam), once);
}

TEST(FixedBeam, SavesTheSpectraOfItsMicrophonesOnly) {
  for (int32_t mics = 0; mics <= 4; ++mics) {
    Steered s(mics);
    Random random(344);
    randomise_spectra(s.record, random, 1e5f);
    form_fixed_beam(s.record);
    const Complex untouched[kBinCount] = {};
    for (int m = 0; m < kMaxMics; ++m) {
      EXPECT_TRUE(same_spectra(s.record.savedSpectrum[m],
                               m < mics ? s.record.micSpectrum[m] : untouched, kBinCount));
    }
  }
}

TEST(FixedBeam, WithoutMicrophonesIsZeroTimesInfinity) {
  Steered s(0);
  form_fixed_beam(s.record);
  for (int k = 0; k < kBinCount; ++k) {
    EXPECT_TRUE(std::isnan(s.record.fixedBeam[k].re));
    EXPECT_TRUE(std::isnan(s.record.beamPower[k]));
  }
}

TEST(FixedBeam, WithLessThanNoMicrophonesIsZero) {
  Steered s(-2);
  form_fixed_beam(s.record);
  for (int k = 0; k < kBinCount; ++k) {
    EXPECT_EQ(s.record.fixedBeam[k].re, 0.0f);
    EXPECT_EQ(s.record.beamPower[k], 0.0f);
  }
}

}  // namespace
}  // namespace vekbf::test
