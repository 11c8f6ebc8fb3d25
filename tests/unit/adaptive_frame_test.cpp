// SPDX-License-Identifier: MIT
#include "bf/adaptive_frame.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "base/reciprocal.h"
#include "bf/steering.h"
#include "bf/record_stages.h"
#include "support/power_streams.h"
#include "support/records.h"
#include "support/twins.h"

namespace vekbf::test {
namespace {

constexpr const char* kGeometryLine = "Invalid microphone array geometry!\n";
constexpr uint32_t kRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000};

VekBfConfig with_intensity(int intensity) {
  return VekBfConfig{0.5f, static_cast<uint32_t>(intensity)};
}

// Gives both twins the same spectra, angle and block counter and compares their frames.
template <class Fill>
testing::AssertionResult same_frame(Twins& twins, Fill&& fill) {
  twins.change(fill);
  adaptive_frame(&twins.library());
  reference::adaptive_frame(&twins.model());
  twins.change([](Instance& record) { ++record.blockCounter; });
  return twins.same();
}

// A frame of a configured beam with new random spectra.
void random_frame(Beam& beam, Random& random, float peak = 1e5f) {
  randomise_spectra(beam.record(), random, peak);
  adaptive_frame(&beam.record());
  ++beam.record().blockCounter;
}

void expect_ones(const float* gain) {
  EXPECT_EQ(gain[0], 1.0f);
  EXPECT_EQ(gain[kBinCount - 1], 1.0f);
}

TEST(AdaptiveFrame, EveryArrayIsThatOfTheModelFrameByFrame) {
  const uint64_t seed = test_seed(381);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (int32_t geometry = 0; geometry < 2; ++geometry) {
    for (int32_t mics : {INT_MIN, -1, 0, 1, 2, 3, 4}) {
      VekBfInit init = array_of(mics, VEK_ADAPTIVE_BF, static_cast<VekBfGeometry>(geometry));
      init.sampleRate = kRates[random.below(7)];
      init.soundSpeed = 300 + random.below(80);
      Twins twins(init, with_intensity(random.below(11)));
      // Loud and quiet, so that the estimator sees speech.
      for (float peak : {1e3f, 1e5f, 1e3f, 3e6f, 1e7f, 1e2f}) {
        const uint64_t spectra = random.next();
        const auto angle = static_cast<int32_t>(random.next32());
        ASSERT_TRUE(same_frame(twins,
                               [&](Instance& record) {
                                 Random same(spectra);
                                 randomise_spectra(record, same, peak);
                                 record.steerAngle = angle;
                               }))
            << "geometry " << geometry << ", microphones " << mics << ", peak " << peak;
      }
    }
  }
}

TEST(AdaptiveFrame, EveryIntensityIsThatOfTheModel) {
  for (int intensity = 0; intensity <= 10; ++intensity) {
    Twins twins(array_of(2, VEK_ADAPTIVE_BF), with_intensity(intensity));
    Random random(382);
    for (int frame = 0; frame < 6; ++frame) {
      const uint64_t spectra = random.next();
      ASSERT_TRUE(same_frame(twins,
                             [&](Instance& record) {
                               Random same(spectra);
                               randomise_spectra(record, same, frame % 2 == 0 ? 1e4f : 1e6f);
                             }))
          << "intensity " << intensity << ", frame " << frame;
    }
  }
}

// Every field that a frame reads, far from anything that a stream would bring it to.
TEST(AdaptiveFrame, RecordsOfAnyContentAreThoseOfTheModel) {
  const uint64_t seed = test_seed(383);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (int round = 0; round < 40; ++round) {
    Twins twins(
        array_of(random.below(6) - 1, VEK_ADAPTIVE_BF, static_cast<VekBfGeometry>(random.below(2))),
        with_intensity(random.below(11)));
    const uint64_t content = random.next();
    const int32_t counters[] = {1, 2, 77, 0, -1, INT_MAX - 8, INT_MIN};
    const int32_t counter = counters[random.below(7)];
    for (int frame = 0; frame < 2; ++frame) {
      ASSERT_TRUE(same_frame(twins,
                             [&](Instance& record) {
                               Random same(content + static_cast<uint64_t>(frame));
                               const auto fill = [&](Complex* row, int low, int high) {
                                 for (int k = 0; k < kBinCount; ++k) {
                                   row[k] = {any_size(same, low, high), any_size(same, low, high)};
                                 }
                               };
                               record.blockCounter = counter;
                               record.blockPowerSmoothing = std::fabs(same.unit());
                               record.beamPowerSmoothing = std::fabs(same.unit());
                               record.blockStepSize = std::fabs(any_size(same, -10, 0));
                               record.cancelStepSize = std::fabs(any_size(same, -10, 0));
                               record.cancelRegularizer =
                                   0.001f + std::fabs(any_size(same, -10, 20));
                               record.blockRegularizer =
                                   0.001f + std::fabs(any_size(same, -10, 20));
                               record.steerAngle = static_cast<int32_t>(same.next32());
                               for (int m = 0; m < kMaxMics; ++m) {
                                 fill(record.micSpectrum[m], -10, 24);
                                 fill(record.savedSpectrum[m], -10, 24);
                                 fill(record.blockWeights[m], -12, 6);
                                 fill(record.cancelWeights[m], -12, 6);
                                 fill(record.blockOutput[m], -10, 24);
                               }
                               fill(record.fixedBeam, -10, 24);
                               fill(record.refBeam, -10, 24);
                               fill(record.cancelSum, -10, 24);
                               fill(record.outBeam, -10, 24);
                               for (int k = 0; k < kBinCount; ++k) {
                                 record.presenceGain[k] = any_size(same, -12, 4);
                                 record.beamPowerSmooth[k] = std::fabs(any_size(same, -12, 40));
                                 record.blockPowerSmooth[k] = std::fabs(any_size(same, -12, 40));
                                 record.beamPower[k] = same.unit();
                                 record.blockPowerSum[k] = same.unit();
                                 record.blockStep[k] = same.unit();
                                 record.cancelStep[k] = same.unit();
                               }
                               for (int16_t& sample : record.outputOverlap) sample = same.sample();
                             }))
          << "round " << round << ", frame " << frame;
    }
  }
}

// The vector unit of 32-bit ARM flushes subnormal steps, which numbers as large as these make up
// for again; the other builds agree to the last bit.
TEST(AdaptiveFrame, OverflowingAndUndefinedSpectraAreThoseOfTheModel) {
  if (kFlushes) GTEST_SKIP() << "steps are subnormal next to infinite powers";
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  for (float strange : {1e18f, 1e25f, std::numeric_limits<float>::max(), kInfinity, -kInfinity,
                        std::numeric_limits<float>::quiet_NaN()}) {
    for (int bin : {0, 3, 130, 256}) {
      Twins twins(array_of(2, VEK_ADAPTIVE_BF), with_intensity(7));
      for (int frame = 0; frame < 3; ++frame) {
        ASSERT_TRUE(same_frame(twins,
                               [&](Instance& record) {
                                 Random same(384 + static_cast<uint64_t>(frame));
                                 randomise_spectra(record, same, 1e5f);
                                 if (frame == 1) record.micSpectrum[1][bin].im = strange;
                               }))
            << strange << " in bin " << bin << ", frame " << frame;
      }
    }
  }
}

TEST(AdaptiveFrame, FirstOutputEqualsTheFixedBeam) {
  for (int32_t mics = 1; mics <= 4; ++mics) {
    for (int intensity : {0, 5, 10}) {
      Beam beam(array_of(mics, VEK_ADAPTIVE_BF));
      ASSERT_EQ(beam.configure(with_intensity(intensity)), VEK_BF_OK);
      Random random(385);
      random_frame(beam, random);
      const Instance& record = beam.record();
      EXPECT_TRUE(same_spectra(record.outBeam, record.fixedBeam, kBinCount));

      Beam plain(array_of(mics));
      ASSERT_EQ(plain.configure(), VEK_BF_OK);
      synthesise(plain.record(), record.fixedBeam);
      EXPECT_EQ(bytes_of(plain.record().outputOverlap), bytes_of(record.outputOverlap));
    }
  }
}

// The gain starts at 1 and has moved by the time it is compared: by a thirtieth at most, so that
// every intensity but the full one still lets the whole beam through.
TEST(AdaptiveFrame, FirstReferenceEqualsTheFixedBeamBelowFullIntensity) {
  for (int intensity = 0; intensity <= 10; ++intensity) {
    Beam beam(array_of(3, VEK_ADAPTIVE_BF));
    ASSERT_EQ(beam.configure(with_intensity(intensity)), VEK_BF_OK);
    Random random(386);
    random_frame(beam, random);
    const Instance& record = beam.record();
    for (int k = 0; k < kBinCount; ++k) {
      EXPECT_GT(record.presenceGain[k], 0.96f);
      const Complex fixed = record.fixedBeam[k];
      const float gain = record.presenceGain[k];
      const Complex expected =
          intensity < 10 || gain >= 1.0f ? fixed : Complex{gain * fixed.re, gain * fixed.im};
      EXPECT_TRUE(same_spectra(&record.refBeam[k], &expected, 1)) << intensity << " " << k;
    }
  }
}

TEST(AdaptiveFrame, IntensityZeroKeepsTheReferenceEqualToTheFixedBeam) {
  Beam beam(array_of(2, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(with_intensity(0)), VEK_BF_OK);
  Random random(387);
  for (int frame = 0; frame < 60; ++frame) {
    random_frame(beam, random, 1e4f);
    ASSERT_TRUE(same_spectra(beam.record().refBeam, beam.record().fixedBeam, kBinCount)) << frame;
  }
  EXPECT_LT(beam.record().presenceGain[128], 0.9f);
}

TEST(AdaptiveFrame, IntensityTenScalesEveryBinWhosePresenceIsNotCertain) {
  Beam beam(array_of(2, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(with_intensity(10)), VEK_BF_OK);
  Random random(388);
  for (int frame = 0; frame < 30; ++frame) random_frame(beam, random, 1e4f);
  const Instance& record = beam.record();
  for (int k = 1; k < kBinCount - 1; ++k) {
    const float gain = record.presenceGain[k];
    ASSERT_LT(gain, 1.0f);
    const Complex expected{gain * record.fixedBeam[k].re, gain * record.fixedBeam[k].im};
    EXPECT_TRUE(same_spectra(&record.refBeam[k], &expected, 1)) << k;
  }
  // Gains of exactly 1.
  for (int k : {0, kBinCount - 1}) {
    EXPECT_TRUE(same_spectra(&record.refBeam[k], &record.fixedBeam[k], 1)) << k;
  }
}

TEST(AdaptiveFrame, ABinExactlyAtTheThresholdIsKept) {
  // Bins 0 and 256 are never updated, so that their gain is known at the gate.
  for (float gain : {0.5f, std::nextafter(0.5f, 0.0f)}) {
    Beam beam(array_of(1, VEK_ADAPTIVE_BF));
    ASSERT_EQ(beam.configure(with_intensity(5)), VEK_BF_OK);
    beam.record().presenceGain[0] = gain;
    beam.record().presenceGain[256] = gain;
    for (Complex& bin : beam.record().micSpectrum[0]) bin = {1000.0f, 0.0f};
    adaptive_frame(&beam.record());
    const float expected = gain == 0.5f ? 1000.0f : gain * 1000.0f;
    EXPECT_EQ(beam.record().refBeam[0].re, expected);
    EXPECT_EQ(beam.record().refBeam[256].re, expected);
  }
}

TEST(AdaptiveFrame, OneMicrophoneHasOneCoefficientPerBin) {
  Beam beam(array_of(1, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Random random(389);
  for (int frame = 0; frame < 3; ++frame) random_frame(beam, random);
  const Instance& record = beam.record();
  for (int k = 0; k < kBinCount; ++k) {
    // Microphone 0 of a line is the fixed beam itself.
    EXPECT_EQ(record.fixedBeam[k].re, record.micSpectrum[0][k].re);
    EXPECT_EQ(record.fixedBeam[k].im, record.micSpectrum[0][k].im);
    EXPECT_NE(record.cancelWeights[0][k].re, 0.0f);
    EXPECT_NE(record.blockWeights[0][k].re, 0.0f);
  }
  for (int m = 1; m < kMaxMics; ++m) {
    const Complex zero[kBinCount] = {};
    EXPECT_TRUE(same_spectra(record.cancelWeights[m], zero, kBinCount));
    EXPECT_TRUE(same_spectra(record.blockWeights[m], zero, kBinCount));
    EXPECT_TRUE(same_spectra(record.blockOutput[m], zero, kBinCount));
  }
}

TEST(AdaptiveFrame, AllZeroSpectraMoveNoCoefficientAndAddNothing) {
  Beam beam(array_of(4, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Instance& record = beam.record();
  Random random(390);
  // Coefficients from an earlier life must stay as well.
  for (int m = 0; m < kMaxMics; ++m) {
    for (int k = 0; k < kBinCount; ++k) {
      record.blockWeights[m][k] = {random.unit(), random.unit()};
      record.cancelWeights[m][k] = {random.unit(), random.unit()};
    }
  }
  for (int n = 0; n < kFrameSize; ++n) record.outputOverlap[n] = static_cast<int16_t>(n);
  const auto blocks = bytes_of(record.blockWeights);
  const auto cancels = bytes_of(record.cancelWeights);
  for (int frame = 0; frame < 3; ++frame) {
    adaptive_frame(&record);
    ++record.blockCounter;
    for (int k = 0; k < kBinCount; ++k) {
      EXPECT_EQ(record.fixedBeam[k].re, 0.0f);
      EXPECT_EQ(record.fixedBeam[k].im, 0.0f);
      EXPECT_EQ(record.beamPower[k], 0.0f);
      EXPECT_EQ(record.beamPowerSmooth[k], 0.0f);
      EXPECT_EQ(record.blockPowerSum[k], 0.0f);
      EXPECT_EQ(record.blockPowerSmooth[k], 0.0f);
      EXPECT_EQ(record.blockOutput[3][k].re, 0.0f);
      EXPECT_EQ(record.blockOutput[3][k].im, 0.0f);
      const bool last = k == kBinCount - 1;
      EXPECT_EQ(record.blockStep[k], last ? 0.05f / 0.001f : 0.05f * reciprocal_two_step(0.001f));
      EXPECT_EQ(record.cancelStep[k], last ? 0.03f / 0.001f : 0.03f * reciprocal_two_step(0.001f));
    }
    EXPECT_EQ(bytes_of(record.blockWeights), blocks);
    EXPECT_EQ(bytes_of(record.cancelWeights), cancels);
    for (int n = 0; n < kFrameSize; ++n) ASSERT_EQ(record.outputOverlap[n], n);
  }
}

TEST(AdaptiveFrame, FirstFrameTakesThePowersAndTheSecondSmoothsThem) {
  Beam beam(array_of(2, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  const Instance& record = beam.record();
  EXPECT_EQ(record.blockCounter, 1);
  Random random(391);
  random_frame(beam, random);
  EXPECT_TRUE(same_floats(record.beamPowerSmooth, record.beamPower, kBinCount));
  EXPECT_TRUE(same_floats(record.blockPowerSmooth, record.blockPowerSum, kBinCount));
  float beam_before[kBinCount];
  float block_before[kBinCount];
  std::memcpy(beam_before, record.beamPowerSmooth, sizeof beam_before);
  std::memcpy(block_before, record.blockPowerSmooth, sizeof block_before);
  random_frame(beam, random);
  for (int k = 0; k < kBinCount; ++k) {
    const float kept_beam = 0.95f * beam_before[k];
    const float kept_block = 0.95f * block_before[k];
    const float new_beam = (1.0f - 0.95f) * record.beamPower[k];
    const float new_block = (1.0f - 0.95f) * record.blockPowerSum[k];
    EXPECT_EQ(record.beamPowerSmooth[k], kept_beam + new_beam) << k;
    EXPECT_EQ(record.blockPowerSmooth[k], kept_block + new_block) << k;
  }
}

TEST(AdaptiveFrame, ASecondConfigurationKeepsTheBlockingCoefficientsOnly) {
  Beam beam(array_of(2, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Random random(392);
  for (int frame = 0; frame < 4; ++frame) random_frame(beam, random);
  Instance& record = beam.record();
  const auto blocks = bytes_of(record.blockWeights);
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  EXPECT_EQ(bytes_of(record.blockWeights), blocks);
  for (const auto& row : record.cancelWeights) {
    for (const Complex& weight : row) {
      EXPECT_EQ(weight.re, 0.0f);
      EXPECT_EQ(weight.im, 0.0f);
    }
  }
  // The canceller starts afresh: the next output is the fixed beam again, but what the kept
  // coefficients block is already gone from the blocking output.
  randomise_spectra(record, random, 1e5f);
  adaptive_frame(&record);
  EXPECT_TRUE(same_spectra(record.outBeam, record.fixedBeam, kBinCount));
  EXPECT_FALSE(same_spectra(record.blockOutput[0], record.micSpectrum[0], kBinCount));
}

TEST(AdaptiveFrame, PresenceGainOfTheOuterBinsStaysOneForEver) {
  Beam beam(array_of(2, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Random random(393);
  for (int frame = 0; frame < 150; ++frame) {
    random_frame(beam, random, frame % 40 < 20 ? 1e3f : 1e6f);
    expect_ones(beam.record().presenceGain);
  }
}

TEST(AdaptiveFrame, ReadsTheProbabilitiesOfThisFrame) {
  Beam beam(array_of(1, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Instance& record = beam.record();
  Random random(394);
  random_frame(beam, random, 1e3f);
  float gain[kBinCount];
  for (int frame = 0; frame < 3; ++frame) {
    std::memcpy(gain, record.presenceGain, sizeof gain);
    random_frame(beam, random, 1e6f);  // speech begins
    const float* probability = record.vadState->mcra->speechProb;
    EXPECT_GT(probability[100], 0.5f);
    for (int k = 1; k < kBinCount - 1; ++k) {
      const float t = (1.0f - 0.95f) * probability[k] + 0.95f * gain[k];
      const double sum =
          static_cast<double>(record.presenceGain[k - 1]) + static_cast<double>(gain[k + 1]);
      ASSERT_EQ(record.presenceGain[k],
                static_cast<float>(0.5 * static_cast<double>(t) + 0.25 * sum));
    }
  }
}

TEST(AdaptiveFrame, TheDetectorRunsOncePerFrameOnThePowerOfTheFixedBeam) {
  Beam beam(array_of(3, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  const Mcra2State& estimator = *beam.record().vadState->mcra;
  Random random(395);
  for (int frame = 1; frame <= 5; ++frame) {
    EXPECT_EQ(estimator.frameCount, frame);
    random_frame(beam, random);
    // The estimator's first frame only seeds it.
    if (frame > 1) {
      EXPECT_TRUE(same_floats(estimator.inputPower, beam.record().beamPower, kBinCount));
    }
  }
}

TEST(AdaptiveFrame, TheDetectorsOwnProbabilityDoesNotMatter) {
  // Threshold and decision of two detectors differ; nothing else does.
  Beam certain(array_of(2, VEK_ADAPTIVE_BF));
  Beam doubtful(array_of(2, VEK_ADAPTIVE_BF));
  ASSERT_EQ(certain.configure({0.0f, 6}), VEK_BF_OK);
  ASSERT_EQ(doubtful.configure({1.0f, 6}), VEK_BF_OK);
  Random a(396);
  Random b(396);
  for (int frame = 0; frame < 12; ++frame) {
    random_frame(certain, a, frame < 4 ? 1e3f : 1e6f);
    random_frame(doubtful, b, frame < 4 ? 1e3f : 1e6f);
    ASSERT_TRUE(same_instances(certain.record(), doubtful.record()));
  }
  if (kDetectorState) {
    EXPECT_NE(certain.record().vadState->decision, doubtful.record().vadState->decision);
  }
}

TEST(AdaptiveFrame, ConfiguredPrintsNothing) {
  Beam beam(array_of(4, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Random random(397);
  EXPECT_EQ(printed([&] {
              for (int frame = 0; frame < 3; ++frame) random_frame(beam, random);
            }),
            "");
}

// Without probabilities the gain stays; everything else goes on.
TEST(AdaptiveFrame, AMissingDetectorPrintsItsLineAndKeepsThePresenceGain) {
  Beam beam(array_of(2, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Instance& record = beam.record();
  VadState* detector = record.vadState;
  record.vadState = nullptr;
  for (int k = 0; k < kBinCount; ++k) record.presenceGain[k] = 0.001f * static_cast<float>(k);
  const auto gains = bytes_of(record.presenceGain);
  Random random(398);
  EXPECT_EQ(printed([&] { random_frame(beam, random); }),
            error_line("vad_run", "Vad handle is NULL"));
  EXPECT_EQ(bytes_of(record.presenceGain), gains);
  EXPECT_TRUE(same_spectra(record.outBeam, record.fixedBeam, kBinCount));
  EXPECT_NE(record.blockWeights[1][9].re, 0.0f);
  EXPECT_NE(record.outputOverlap[256], 0);
  record.vadState = detector;
}

TEST(AdaptiveFrame, ADetectorWithoutAnEstimatorKeepsThePresenceGainToo) {
  Beam beam(array_of(2, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Instance& record = beam.record();
  Mcra2State* estimator = record.vadState->mcra;
  record.vadState->mcra = nullptr;
  const auto gains = bytes_of(record.presenceGain);
  Random random(399);
  EXPECT_EQ(printed([&] { random_frame(beam, random); }),
            error_line("mcra2_run", "Mcra handle is NULL"));
  EXPECT_EQ(bytes_of(record.presenceGain), gains);
  EXPECT_TRUE(same_spectra(record.outBeam, record.fixedBeam, kBinCount));
  record.vadState->mcra = estimator;
}

TEST(AdaptiveFrame, WithoutADetectorIsThatOfTheModel) {
  Twins twins(array_of(3, VEK_ADAPTIVE_BF));
  VadState* detectors[2] = {twins.library().vadState, twins.model().vadState};
  twins.change([](Instance& record) { record.vadState = nullptr; });
  printed([&] {
    for (int frame = 0; frame < 3; ++frame) {
      EXPECT_TRUE(same_frame(twins, [&](Instance& record) {
        Random same(400 + static_cast<uint64_t>(frame));
        randomise_spectra(record, same, 1e5f);
      }));
    }
  });
  twins.library().vadState = detectors[0];
  twins.model().vadState = detectors[1];
}

TEST(AdaptiveFrame, UnsupportedGeometriesPrintTheirLineAndBlockTheBareSpectra) {
  for (int32_t geometry : {2, 3}) {
    Twins twins(array_of(3, VEK_ADAPTIVE_BF, static_cast<VekBfGeometry>(geometry)));
    Random random(401);
    const Instance& record = twins.library();
    for (int frame = 0; frame < 4; ++frame) {
      const uint64_t spectra = random.next();
      EXPECT_EQ(printed([&] {
                  EXPECT_TRUE(same_frame(twins, [&](Instance& twin) {
                    Random same(spectra);
                    randomise_spectra(twin, same, 1e6f);
                  }));
                }),
                kGeometryLine);
      for (int k = 0; k < kBinCount; ++k) {
        EXPECT_EQ(record.fixedBeam[k].re, 0.0f);
        EXPECT_EQ(record.fixedBeam[k].im, 0.0f);
        EXPECT_EQ(record.blockOutput[2][k].re, record.micSpectrum[2][k].re);
        EXPECT_EQ(record.blockOutput[2][k].im, record.micSpectrum[2][k].im);
        EXPECT_EQ(record.outBeam[k].re, -record.cancelSum[k].re);
        EXPECT_EQ(record.outBeam[k].im, -record.cancelSum[k].im);
      }
    }
  }
}

TEST(AdaptiveFrame, OfAnUnsupportedGeometryPutsOutWhatTheCancellerSubtracts) {
  Beam beam(array_of(2, VEK_ADAPTIVE_BF, VEK_BF_UNIFORM_CIRCULAR_ARRAY));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Instance& record = beam.record();
  record.micSpectrum[1][40] = {2e6f, 0.0f};
  record.cancelWeights[1][40] = {0.5f, 0.0f};
  printed([&] { adaptive_frame(&record); });
  EXPECT_EQ(record.outBeam[40].re, -1e6f);
  Beam plain(array_of(2));
  ASSERT_EQ(plain.configure(), VEK_BF_OK);
  Complex spectrum[kBinCount] = {};
  spectrum[40].re = -1e6f;
  synthesise(plain.record(), spectrum);
  EXPECT_EQ(bytes_of(plain.record().outputOverlap), bytes_of(record.outputOverlap));
}

TEST(AdaptiveFrame, WithoutMicrophonesAddsSilence) {
  for (int32_t mics : {0, -1, INT_MIN}) {
    Beam beam(array_of(mics, VEK_ADAPTIVE_BF));
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    Random random(402);
    for (int n = 0; n < kFrameSize; ++n) beam.record().outputOverlap[n] = static_cast<int16_t>(n);
    for (int frame = 0; frame < 3; ++frame) random_frame(beam, random);
    for (int n = 0; n < kFrameSize; ++n) ASSERT_EQ(beam.record().outputOverlap[n], n);
  }
}

TEST(AdaptiveFrame, LoudOutputWrapsInsteadOfClipping) {
  Beam beam(array_of(1, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  beam.record().micSpectrum[0][0] = {512.0f * 80000.0f, 0.0f};
  adaptive_frame(&beam.record());
  EXPECT_EQ(beam.record().outputOverlap[kFrameSize / 2], 40000 - 65536);
}

TEST(AdaptiveFrame, OutputBeyond32BitsSaturatesAndNotANumberIsSilence) {
  const struct {
    float bin;
    int16_t sample;
  } cases[] = {{1e16f, -1}, {-1e16f, 0}, {std::numeric_limits<float>::quiet_NaN(), 0}};
  for (const auto& c : cases) {
    Beam beam(array_of(1, VEK_ADAPTIVE_BF));
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    beam.record().micSpectrum[0][0].re = c.bin;
    adaptive_frame(&beam.record());
    for (int16_t sample : beam.record().outputOverlap) EXPECT_EQ(sample, c.sample);
  }
}

TEST(AdaptiveFrame, LeavesTheSpectraAndTheFramingAlone) {
  Beam beam(array_of(4, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Instance& record = beam.record();
  Random random(403);
  randomise_spectra(record, random, 1e5f);
  for (auto& row : record.micHistory) {
    for (float& sample : row) sample = random.unit();
  }
  for (auto& row : record.fftScratch) {
    for (float& sample : row) sample = random.unit();
  }
  const auto spectra = bytes_of(record.micSpectrum);
  const auto history = bytes_of(record.micHistory);
  const auto scratch = bytes_of(record.fftScratch);
  adaptive_frame(&record);
  EXPECT_EQ(bytes_of(record.micSpectrum), spectra);
  EXPECT_EQ(bytes_of(record.savedSpectrum), spectra);
  EXPECT_EQ(bytes_of(record.micHistory), history);
  EXPECT_EQ(bytes_of(record.fftScratch), scratch);
  EXPECT_EQ(record.blockCounter, 1);
}

TEST(AdaptiveFrame, AnUnconfiguredInstancePrintsItsRefusalsAndAddsSilence) {
  for (int32_t mics : {INT_MIN, -1, 0, 1, 4, 5, INT_MAX}) {
    WorkBuffer buffer(0);
    Instance& record = *buffer.instance();
    record.micNum = mics;
    record.sampleRate = 16000;
    record.soundSpeed = 343;
    Random random(404);
    randomise_spectra(record, random, 1e6f);
    EXPECT_EQ(printed([&] { adaptive_frame(&record); }),
              error_line("vad_run", "Vad handle is NULL") +
                  error_line("do_fft", "FFT work buffer is NULL"));
    for (int16_t sample : record.outputOverlap) ASSERT_EQ(sample, 0);
  }
}

}  // namespace
}  // namespace vekbf::test
