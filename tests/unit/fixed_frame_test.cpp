// SPDX-License-Identifier: MIT
#include "bf/fixed_frame.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "bf/steering.h"
#include "bf/record_stages.h"
#include "support/records.h"
#include "support/twins.h"

namespace vekbf::test {
namespace {

constexpr const char* kGeometryLine = "Invalid microphone array geometry!\n";

struct Samples {
  int16_t v[kFrameSize];
  bool operator==(const Samples& other) const { return std::memcmp(v, other.v, sizeof v) == 0; }
};

Samples output_of(const Instance& record) {
  Samples samples;
  std::memcpy(samples.v, record.outputOverlap, sizeof samples.v);
  return samples;
}

void clear_output(Instance& record) {
  std::memset(record.outputOverlap, 0, sizeof record.outputOverlap);
}

// The samples of one frame of a spectrum that is known.
Samples synthesis_of(Instance& record, const Spectrum& spectrum) {
  const Samples kept = output_of(record);
  clear_output(record);
  synthesise(record, spectrum);
  const Samples result = output_of(record);
  std::memcpy(record.outputOverlap, kept.v, sizeof kept.v);
  return result;
}

// The output sample in the middle of the window, where it is 1, of a spectrum with nothing but bin
// 0 in each microphone.
int middle_of_constants(int32_t mics, const float* constants) {
  Beam beam(array_of(mics));
  EXPECT_EQ(beam.configure(), VEK_BF_OK);
  for (int m = 0; m < mics; ++m) beam.record().micSpectrum[m][0].re = constants[m];
  fixed_frame(&beam.record());
  return beam.record().outputOverlap[kFrameSize / 2];
}

TEST(FixedFrame, EveryArrayIsThatOfTheModelFrameByFrame) {
  const uint64_t seed = test_seed(321);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  constexpr uint32_t kRates[] = {8000, 16000, 44100, 48000};
  for (int32_t geometry = 0; geometry < 2; ++geometry) {
    for (int32_t mics : {INT_MIN, -1, 0, 1, 2, 3, 4}) {
      VekBfInit init = array_of(mics, VEK_FIXED_BF, static_cast<VekBfGeometry>(geometry));
      init.sampleRate = kRates[random.below(4)];
      Twins twins(init);
      for (float peak : {1e3f, 1e6f, 1e9f, 1e15f}) {
        const uint64_t spectra = random.next();
        const auto angle = static_cast<int32_t>(random.next32());
        twins.change([&](Instance& record) {
          Random same(spectra);
          randomise_spectra(record, same, peak);
          record.steerAngle = angle;
        });
        fixed_frame(&twins.library());
        reference::fixed_frame(&twins.model());
        ASSERT_TRUE(twins.same()) << mics << " microphones, peak " << peak;
      }
    }
  }
}

TEST(FixedFrame, SpectraOfEverySizeAreThoseOfTheModel) {
  const uint64_t seed = test_seed(322);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  Twins twins(array_of(4));
  for (int round = 0; round < 40; ++round) {
    const uint64_t spectra = random.next();
    twins.change([&](Instance& record) {
      Random same(spectra);
      for (auto& row : record.micSpectrum) {
        for (Complex& bin : row) bin = {any_size(same, -40, 60), any_size(same, -40, 60)};
      }
      record.steerAngle = 30 * round;
    });
    fixed_frame(&twins.library());
    reference::fixed_frame(&twins.model());
    ASSERT_TRUE(twins.same()) << "round " << round;
  }
}

TEST(FixedFrame, InfiniteAndUndefinedSpectraAreThoseOfTheModel) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  for (float strange : {kInfinity, -kInfinity, std::numeric_limits<float>::quiet_NaN(),
                        std::numeric_limits<float>::max()}) {
    for (int bin : {0, 3, 128, 256}) {
      Twins twins(array_of(3));
      twins.change([&](Instance& record) {
        Random same(5);
        randomise_spectra(record, same, 1e5f);
        record.micSpectrum[1][bin].re = strange;
      });
      fixed_frame(&twins.library());
      reference::fixed_frame(&twins.model());
      EXPECT_TRUE(twins.same()) << strange << " in bin " << bin;
    }
  }
}

TEST(FixedFrame, OneMicrophoneOfALineComesOutAsItsSpectrum) {
  for (int32_t angle : {0, 90, 135}) {
    Beam beam(array_of(1));
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    Random random(323);
    randomise_spectra(beam.record(), random, 1e6f);
    beam.record().steerAngle = angle;
    const Samples expected = synthesis_of(beam.record(), beam.record().micSpectrum[0]);
    fixed_frame(&beam.record());
    EXPECT_TRUE(output_of(beam.record()) == expected) << angle;
  }
}

TEST(FixedFrame, ThreeAndFourMicrophonesAreSummedOneAtATimeInOrder) {
  for (int32_t mics : {3, 4}) {
    Beam beam(array_of(mics));
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    Instance& record = beam.record();
    Random random(324);
    randomise_spectra(record, random, 1e6f);
    record.steerAngle = 25;
    compute_steering(&record, 25);
    const float weight = 1.0f / static_cast<float>(mics);
    Complex sum[kBinCount] = {};
    for (int m = 0; m < mics; ++m) {
      for (int k = 0; k < kBinCount; ++k) {
        const Complex w = record.steerTable[m][k];
        const Complex x = record.micSpectrum[m][k];
        const float re = w.re * x.re - w.im * x.im;
        const float im = w.re * x.im + w.im * x.re;
        sum[k].re = sum[k].re + re * weight;
        sum[k].im = sum[k].im + im * weight;
      }
    }
    const Samples expected = synthesis_of(record, sum);
    fixed_frame(&record);
    EXPECT_TRUE(output_of(record) == expected);
  }
}

// A small term that is lost next to a large one is lost, whatever is subtracted later.
TEST(FixedFrame, OrderOfTheSumShows) {
  const float large = 0x1p50f;
  const float small = 0x1p24f;  // below half a unit of large / 3
  const float lost[] = {large, small, -large};
  const float kept[] = {large, -large, small};
  EXPECT_EQ(middle_of_constants(3, lost), 0);
  EXPECT_EQ(middle_of_constants(3, kept), static_cast<int>(0x1p24 / 3 / 512 / 2));
}

// The adaptive path scales the sum instead; here the rounded products do not cancel as it would.
TEST(FixedFrame, EachProductIsScaledBeforeItIsAdded) {
  const float third = 1.0f / 3.0f;
  const float a = 0x1.000002p40f;
  const float b = -0x1p40f;
  const float scaled_first = a * third + b * third;
  const float summed_first = (a + b) * third;
  const auto sample = [](float bin) { return static_cast<int>(bin / 512.0f / 2.0f); };
  ASSERT_NE(sample(scaled_first), sample(summed_first));
  const float constants[] = {a, b, 0.0f};
  EXPECT_EQ(middle_of_constants(3, constants), sample(scaled_first));
}

TEST(FixedFrame, SavesTheSpectraOfItsMicrophonesOnly) {
  for (int32_t mics = 0; mics <= 4; ++mics) {
    Beam beam(array_of(mics));
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    Random random(325);
    randomise_spectra(beam.record(), random, 1e5f);
    for (auto& row : beam.record().savedSpectrum) {
      for (Complex& bin : row) bin = {-9.0f, 9.0f};
    }
    fixed_frame(&beam.record());
    for (int m = 0; m < kMaxMics; ++m) {
      for (int k = 0; k < kBinCount; ++k) {
        const Complex expected = m < mics ? beam.record().micSpectrum[m][k] : Complex{-9.0f, 9.0f};
        ASSERT_TRUE(same_spectra(&beam.record().savedSpectrum[m][k], &expected, 1));
      }
    }
  }
}

// Everything of the record but what the frame is there to write.
TEST(FixedFrame, WritesNothingElse) {
  Beam beam(array_of(4));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Instance& record = beam.record();
  Random random(326);
  randomise_spectra(record, random, 1e5f);
  WorkBuffer before;
  std::memcpy(before.get(), &record, sizeof record);
  fixed_frame(&record);
  Instance& expected = *before.instance();
  std::memcpy(expected.savedSpectrum, record.savedSpectrum, sizeof record.savedSpectrum);
  std::memcpy(expected.steerTable, record.steerTable, sizeof record.steerTable);
  std::memcpy(expected.micDelay, record.micDelay, sizeof record.micDelay);
  std::memcpy(expected.micProjection, record.micProjection, sizeof record.micProjection);
  std::memcpy(expected.outputOverlap, record.outputOverlap, sizeof record.outputOverlap);
  EXPECT_EQ(std::memcmp(&expected, &record, sizeof record), 0);
}

TEST(FixedFrame, NeitherTheIntensityNorTheDetectorMatters) {
  Samples outputs[3];
  for (int variant = 0; variant < 3; ++variant) {
    Beam beam(array_of(4));
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    Instance& record = beam.record();
    Random random(327);
    randomise_spectra(record, random, 1e6f);
    if (variant == 1) record.intensity = 10;
    VadState* detector = record.vadState;
    if (variant == 2) record.vadState = nullptr;
    EXPECT_EQ(printed([&] { fixed_frame(&record); }), "");
    record.vadState = detector;
    outputs[variant] = output_of(record);
  }
  EXPECT_TRUE(outputs[0] == outputs[1]);
  EXPECT_TRUE(outputs[0] == outputs[2]);
}

TEST(FixedFrame, OnlyTheAccumulatorRemembersAFrame) {
  Beam used(array_of(2));
  Beam fresh(array_of(2));
  ASSERT_EQ(used.configure(), VEK_BF_OK);
  ASSERT_EQ(fresh.configure(), VEK_BF_OK);
  Random random(328);
  for (int frame = 0; frame < 3; ++frame) {
    randomise_spectra(used.record(), random, 1e6f);
    used.record().steerAngle = 17 * frame;
    fixed_frame(&used.record());
  }
  clear_output(used.record());
  std::memcpy(fresh.record().micSpectrum, used.record().micSpectrum,
              sizeof used.record().micSpectrum);
  fresh.record().steerAngle = used.record().steerAngle;
  fixed_frame(&used.record());
  fixed_frame(&fresh.record());
  EXPECT_TRUE(same_instances(used.record(), fresh.record()));
}

TEST(FixedFrame, FramesAddUpInTheAccumulator) {
  Beam beam(array_of(1));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Random random(329);
  randomise_spectra(beam.record(), random, 1e6f);
  fixed_frame(&beam.record());
  const Samples once = output_of(beam.record());
  fixed_frame(&beam.record());
  for (int n = 0; n < kFrameSize; ++n) {
    EXPECT_EQ(beam.record().outputOverlap[n], static_cast<int16_t>(2 * once.v[n]));
  }
}

TEST(FixedFrame, SteersToTheAngleOfTheRecord) {
  Beam beam(array_of(3));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Beam steered(array_of(3));
  ASSERT_EQ(steered.configure(), VEK_BF_OK);
  for (int32_t angle : {0, 61, -1000}) {
    beam.record().steerAngle = angle;
    fixed_frame(&beam.record());
    compute_steering(&steered.record(), angle);
    for (int m = 0; m < 3; ++m) {
      EXPECT_TRUE(
          same_spectra(beam.record().steerTable[m], steered.record().steerTable[m], kBinCount));
    }
  }
}

TEST(FixedFrame, LoudFramesWrap) {
  // 0.5 times 80000 in the middle of the frame.
  const float loud[] = {512.0f * 80000.0f};
  EXPECT_EQ(middle_of_constants(1, loud), 40000 - 65536);
}

TEST(FixedFrame, HalvedSamplesAreTruncatedTowardZero) {
  const float less_than_one[] = {512.0f * -1.4f};
  const float one_and_a_half[] = {512.0f * -3.0f};
  EXPECT_EQ(middle_of_constants(1, less_than_one), 0);
  EXPECT_EQ(middle_of_constants(1, one_and_a_half), -1);
}

TEST(FixedFrame, UnsupportedGeometriesPrintTheirLineEveryFrameAndAddNothing) {
  for (int32_t geometry : {2, 3}) {
    Beam beam(array_of(4, VEK_FIXED_BF, static_cast<VekBfGeometry>(geometry)));
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    Instance& record = beam.record();
    Random random(330);
    randomise_spectra(record, random, 1e6f);
    for (int n = 0; n < kFrameSize; ++n) record.outputOverlap[n] = static_cast<int16_t>(n);
    for (int frame = 0; frame < 3; ++frame) {
      EXPECT_EQ(printed([&] { fixed_frame(&record); }), kGeometryLine);
    }
    for (int n = 0; n < kFrameSize; ++n) EXPECT_EQ(record.outputOverlap[n], n);
    for (const auto& row : record.steerTable) {
      for (const Complex& value : row) {
        EXPECT_EQ(value.re, 0.0f);
        EXPECT_EQ(value.im, 0.0f);
      }
    }
  }
}

TEST(FixedFrame, WithoutMicrophonesAddsSilence) {
  for (int32_t mics : {0, -1, INT_MIN}) {
    Beam beam(array_of(mics));
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    Random random(331);
    randomise_spectra(beam.record(), random, 1e6f);
    beam.record().outputOverlap[100] = 4321;
    const Samples before = output_of(beam.record());
    fixed_frame(&beam.record());
    EXPECT_TRUE(output_of(beam.record()) == before);
  }
}

TEST(FixedFrame, AnUnconfiguredInstancePrintsOneRefusalAndAddsSilence) {
  for (int32_t mics : {-1, 0, 1, 4, 5, INT_MAX}) {
    WorkBuffer buffer(0);
    Instance& record = *buffer.instance();
    record.micNum = mics;
    record.sampleRate = 16000;
    record.soundSpeed = 343;
    Random random(332);
    randomise_spectra(record, random, 1e6f);
    const Samples before = output_of(record);
    EXPECT_EQ(printed([&] { fixed_frame(&record); }),
              error_line("do_fft", "FFT work buffer is NULL"));
    EXPECT_TRUE(output_of(record) == before);
  }
}

}  // namespace
}  // namespace vekbf::test
