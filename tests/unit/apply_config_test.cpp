// SPDX-License-Identifier: MIT
#include "api/apply_config.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

#include "fft/fft.h"
#include "noise/vad.h"
#include "support/beam.h"
#include "support/records.h"

namespace vekbf::test {
namespace {

constexpr float kQuarterTurns[4] = {0.0f, 1.5707964f, 3.1415927f, 4.712389f};

// What a configuration makes of an initialised record, apart from the two owned states.
std::unique_ptr<Instance> configured_record(const VekBfInit& init, const VekBfConfig& config) {
  auto record = std::make_unique<Instance>();
  record->sampleRate = init.sampleRate;
  record->bitWidth = init.bitWidth;
  record->micNum = init.micNum;
  record->blockCounter = 1;
  record->soundSpeed = init.soundSpeed;
  record->intensity = config.intensity;
  record->arrayRadius = std::fabs(init.micCoordinate[0][0]);
  record->steerAngle = 90;
  record->algorithm = init.algorithm;
  record->geometry = init.geometry;
  for (int m = 0; m < init.micNum; ++m) {
    record->micCoordinate[m][0] = init.micCoordinate[m][0];
    record->micCoordinate[m][1] = init.micCoordinate[m][1];
    record->micPlacement[m] =
        init.geometry == 0 ? init.micCoordinate[m][0] - init.micCoordinate[0][0] : kQuarterTurns[m];
  }
  record->blockPowerSmoothing = 0.95f;
  record->beamPowerSmoothing = 0.95f;
  record->blockStepSize = 0.05f;
  record->cancelStepSize = 0.03f;
  record->cancelRegularizer = 0.001f;
  record->blockRegularizer = 0.001f;
  for (float& gain : record->presenceGain) gain = 1.0f;
  return record;
}

TEST(ApplyConfig, PrintsExactlyOneLine) {
  for (VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    Beam beam(array_of(4, algorithm));
    for (int call = 0; call < 3; ++call) {
      EXPECT_EQ(beam.configure(), VEK_BF_OK);
      EXPECT_EQ(beam.lines(), "[ALGO_MSG_MSG, fft_init] NEON ENABLE\n");
    }
  }
}

TEST(ApplyConfig, SetsEveryFieldOfAFreshRecord) {
  for (int32_t geometry = 0; geometry <= 3; ++geometry) {
    for (int32_t mics = 1; mics <= 4; ++mics) {
      for (VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
        const VekBfInit init = array_of(mics, algorithm, static_cast<VekBfGeometry>(geometry));
        const VekBfConfig config{0.5f, static_cast<uint32_t>(mics + geometry)};
        Beam beam(init, 0xa5);
        ASSERT_EQ(beam.configure(config), VEK_BF_OK);
        EXPECT_TRUE(same_instances(beam.record(), *configured_record(init, config)));
      }
    }
  }
}

// Every field is dirtied first, with a value of its own.
TEST(ApplyConfig, ReconfigurationResetsEveryFieldButTheBlockingCoefficients) {
  const VekBfInit init = array_of(4, VEK_ADAPTIVE_BF);
  Beam beam(init);
  ASSERT_EQ(beam.configure({0.25f, 3}), VEK_BF_OK);
  Instance& record = beam.record();
  float value = 0.5f;
  visit_fields([&](const char* name, auto field) {
    using Field = std::remove_reference_t<decltype(record.*field)>;
    using Element = std::remove_all_extents_t<Field>;
    const std::string text = name;
    // What only VekBf_Init sets stays valid.
    for (const char* kept : {"sampleRate", "bitWidth", "micNum", "soundSpeed", "algorithm",
                             "micCoordinate", "geometry"}) {
      if (text == kept) return;
    }
    if constexpr (std::is_same_v<Element, float> || std::is_same_v<Element, Complex>) {
      auto* floats = reinterpret_cast<float*>(&(record.*field));
      constexpr size_t kBytes = sizeof(Field);
      for (size_t i = 0; i < kBytes / sizeof(float); ++i) floats[i] = value += 0.5f;
    } else {
      std::memset(static_cast<void*>(&(record.*field)), 0x5a, sizeof(Field));
    }
  });
  const auto dirty = std::make_unique<Instance>(record);

  ASSERT_EQ(beam.configure({0.75f, 9}), VEK_BF_OK);
  auto expected = configured_record(init, {0.75f, 9});
  std::memcpy(expected->blockWeights, dirty->blockWeights, sizeof expected->blockWeights);
  EXPECT_TRUE(same_instances(record, *expected));
  EXPECT_EQ(record.vadState->threshold, 0.75f);
}

TEST(ApplyConfig, LinePlacementIsTheOffsetFromMicrophoneZero) {
  VekBfInit init = array_of(2);
  init.micCoordinate[0][0] = -0.25f;
  init.micCoordinate[1][0] = 0.75f;
  Beam beam(init);
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  const float expected[kMaxMics] = {0.0f, 1.0f, 0.0f, 0.0f};
  EXPECT_TRUE(same_field(beam.record().micPlacement, expected));
  EXPECT_EQ(beam.record().arrayRadius, 0.25f);
}

// Microphone 0 has no special case: infinity less infinity is not a number, and all other offsets
// are infinite.
TEST(ApplyConfig, LinePlacementFromAnInfiniteMicrophoneZeroIsNotANumberThere) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  VekBfInit init = array_of(2);
  init.micCoordinate[0][0] = kInfinity;
  Beam beam(init);
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  EXPECT_TRUE(std::isnan(beam.record().micPlacement[0]));
  EXPECT_EQ(beam.record().micPlacement[1], -kInfinity);
}

TEST(ApplyConfig, EveryOtherGeometryIsPlacedByQuarterTurnsAlsoTheTriangle) {
  for (VekBfGeometry geometry : {VEK_BF_UNIFORM_TRIANGLE_ARRAY, VEK_BF_UNIFORM_RECTANGLE_ARRAY,
                                 VEK_BF_UNIFORM_CIRCULAR_ARRAY}) {
    for (int32_t mics = 0; mics <= 4; ++mics) {
      VekBfInit init = array_of(mics, VEK_FIXED_BF, geometry);
      init.micCoordinate[0][0] = -0.25f;
      init.micCoordinate[1][0] = 0.75f;
      Beam beam(init);
      ASSERT_EQ(beam.configure(), VEK_BF_OK);
      for (int m = 0; m < 4; ++m) {
        EXPECT_EQ(beam.record().micPlacement[m], m < mics ? kQuarterTurns[m] : 0.0f);
      }
      EXPECT_EQ(beam.record().arrayRadius, mics > 0 ? 0.25f : 0.0f);
    }
  }
}

TEST(ApplyConfig, QuarterTurnsAreTheNearestFloats) {
  constexpr double kPi = 3.14159265358979323846;
  Beam beam(array_of(4, VEK_FIXED_BF, VEK_BF_UNIFORM_TRIANGLE_ARRAY));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  for (int m = 0; m < 4; ++m) {
    EXPECT_EQ(beam.record().micPlacement[m], static_cast<float>(m * kPi / 2));
  }
}

TEST(ApplyConfig, RadiusIsTheAbsoluteXOfMicrophoneZero) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  for (float x : {0.0f, -0.0f, 0.05f, -0.05f, 3.0f, -kInfinity}) {
    VekBfInit init = array_of(1);
    init.micCoordinate[0][0] = x;
    init.micCoordinate[0][1] = 7.0f;
    Beam beam(init);
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    EXPECT_TRUE(same_bits(beam.record().arrayRadius, x > 0.0f ? x : 0.0f - x));
  }
}

TEST(ApplyConfig, AngleReads90AndTheBlockCounter1WhateverTheyWere) {
  Random random(41);
  Beam beam(array_of(2));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  EXPECT_EQ(beam.record().steerAngle, 90);
  EXPECT_EQ(beam.record().blockCounter, 1);
  for (int b = 0; b < 3; ++b) beam.run(noise_block(random, 2), -33);
  EXPECT_EQ(beam.record().steerAngle, -33);
  EXPECT_EQ(beam.record().blockCounter, 4);
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  EXPECT_EQ(beam.record().steerAngle, 90);
  EXPECT_EQ(beam.record().blockCounter, 1);
}

TEST(ApplyConfig, TheTransformHas512PointsAndAPeriodicHammingWindow) {
  Beam beam(array_of(1));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  const FftState* fft = beam.record().fftState;
  ASSERT_NE(fft, nullptr);
  EXPECT_EQ(fft->initFlag, 1);
  EXPECT_EQ(fft->fftSize, 512);
  // A symmetric window would have its last weight equal to its first, and no weight of 1.
  EXPECT_FLOAT_EQ(fft->window[0], 0.08f);
  EXPECT_EQ(fft->window[256], 1.0f);
  EXPECT_NEAR(fft->window[511], 0.54 - 0.46 * std::cos(6.283185307179586 / 512), 1e-7);
  for (int i = 1; i < 512; ++i) EXPECT_EQ(fft->window[i], fft->window[512 - i]) << i;
}

TEST(ApplyConfig, TheDetectorGetsTheRateTheSizesAndTheThreshold) {
  for (uint32_t rate : {8000u, 16000u, 48000u}) {
    VekBfInit init = array_of(1);
    init.sampleRate = rate;
    Beam beam(init);
    ASSERT_EQ(beam.configure({0.125f, 1}), VEK_BF_OK);
    const VadState* vad = beam.record().vadState;
    ASSERT_NE(vad, nullptr);
    EXPECT_EQ(vad->sampleRate, static_cast<int32_t>(rate));
    EXPECT_EQ(vad->frameLen, 512);
    EXPECT_EQ(vad->binCount, 257);
    EXPECT_EQ(vad->threshold, 0.125f);
    ASSERT_NE(vad->mcra, nullptr);
    EXPECT_EQ(vad->mcra->binCount, 257);
  }
}

TEST(ApplyConfig, AThresholdThatIsNotANumberReachesTheDetector) {
  Beam beam(array_of(1));
  ASSERT_EQ(beam.configure({std::numeric_limits<float>::quiet_NaN(), 1}), VEK_BF_OK);
  EXPECT_TRUE(std::isnan(beam.record().vadState->threshold));
}

TEST(ApplyConfig, ANewDetectorStartsInNoiseWithoutHistory) {
  Random random(42);
  Beam beam(array_of(2, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  for (int b = 0; b < 10; ++b) beam.run(noise_block(random, 2));
  EXPECT_NE(beam.record().vadState->logLikelihood, 0.0f);
  EXPECT_EQ(beam.record().vadState->mcra->frameCount, 11);
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Beam fresh(array_of(2, VEK_ADAPTIVE_BF));
  ASSERT_EQ(fresh.configure(), VEK_BF_OK);
  EXPECT_TRUE(same_detectors(beam.record().vadState, fresh.record().vadState));
  EXPECT_TRUE(same_transforms(beam.record().fftState, fresh.record().fftState));
  EXPECT_EQ(beam.record().vadState->noiseState, 1);
  EXPECT_EQ(beam.record().vadState->logLikelihood, 0.0f);
}

TEST(ApplyConfig, ReconfigurationRestartsTheFixedBeamformerCompletely) {
  Random random(43);
  Beam used(array_of(4)), fresh(array_of(4));
  ASSERT_EQ(used.configure(), VEK_BF_OK);
  for (int b = 0; b < 6; ++b) used.run(noise_block(random, 4), 10 * b);
  ASSERT_EQ(used.configure(), VEK_BF_OK);
  ASSERT_EQ(fresh.configure(), VEK_BF_OK);
  for (int b = 0; b < 6; ++b) {
    const Block in = noise_block(random, 4);
    EXPECT_EQ(used.run(in, 20 * b), fresh.run(in, 20 * b)) << "block " << b;
  }
  EXPECT_TRUE(same_instances(used.record(), fresh.record()));
}

TEST(ApplyConfig, ReconfigurationRestartsTheAdaptiveBeamformerFromItsBlockingCoefficients) {
  Random random(44);
  Beam used(array_of(3, VEK_ADAPTIVE_BF)), fresh(array_of(3, VEK_ADAPTIVE_BF));
  ASSERT_EQ(used.configure(), VEK_BF_OK);
  for (int b = 0; b < 12; ++b) used.run(noise_block(random, 3), 60);
  const auto adapted = std::make_unique<Instance>(used.record());
  ASSERT_EQ(used.configure(), VEK_BF_OK);
  EXPECT_TRUE(same_field(used.record().blockWeights, adapted->blockWeights));
  const Complex zeros[kMaxMics][kBinCount] = {};
  EXPECT_FALSE(same_field(adapted->blockWeights, zeros)) << "nothing was adapted";
  EXPECT_FALSE(same_field(adapted->cancelWeights, zeros)) << "nothing was adapted";
  EXPECT_TRUE(same_field(used.record().cancelWeights, zeros));

  ASSERT_EQ(fresh.configure(), VEK_BF_OK);
  std::memcpy(fresh.record().blockWeights, adapted->blockWeights, sizeof adapted->blockWeights);
  for (int b = 0; b < 6; ++b) {
    const Block in = noise_block(random, 3);
    EXPECT_EQ(used.run(in, 60), fresh.run(in, 60)) << "block " << b;
  }
  EXPECT_TRUE(same_instances(used.record(), fresh.record()));
  EXPECT_TRUE(same_detectors(used.record().vadState, fresh.record().vadState));
}

TEST(ApplyConfig, NoMicrophonesAreConfiguredLikeAnyNumber) {
  for (int32_t mics : {0, -1, -1000000}) {
    const VekBfInit init = array_of(mics, VEK_ADAPTIVE_BF);
    Beam beam(init);
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    auto expected = configured_record(init, kConfig);
    expected->arrayRadius = 0.0f;  // no coordinates are copied
    EXPECT_TRUE(same_instances(beam.record(), *expected));
  }
}

TEST(ReleaseStates, LeavesNoDanglingPointers) {
  Beam beam(array_of(1));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  EXPECT_EQ(printed([&] { release_states(&beam.record()); }), "");
  EXPECT_EQ(beam.record().fftState, nullptr);
  EXPECT_EQ(beam.record().vadState, nullptr);
  EXPECT_EQ(printed([&] { release_states(&beam.record()); }), "[FFT FREE]: The handle is NULL\n");
}

}  // namespace
}  // namespace vekbf::test
