// SPDX-License-Identifier: MIT
#include "bf/steering.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <string>

#include "reference/model.h"
#include "support/bits.h"
#include "support/records.h"
#include "support/twins.h"

namespace vekbf::test {
namespace {

constexpr float kQuarterTurns[kMaxMics] = {0.0f, 1.5707964f, 3.1415927f, 4.712389f};
constexpr uint32_t kRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000};
constexpr const char* kGeometryLine = "Invalid microphone array geometry!\n";

// A bare record, as a configuration would have filled it for steering.
struct Array {
  explicit Array(int32_t mics, VekBfGeometry geometry = VEK_BF_UNIFORM_LINEAR_ARRAY)
      : buffer(0), record(*buffer.instance()) {
    record.sampleRate = 16000;
    record.soundSpeed = 343;
    record.micNum = mics;
    record.geometry = geometry;
    record.arrayRadius = 0.05f;
    for (int m = 0; m < kMaxMics; ++m) {
      record.micPlacement[m] = geometry == VEK_BF_UNIFORM_LINEAR_ARRAY
                                   ? 0.04f * static_cast<float>(m)
                                   : kQuarterTurns[m];
    }
  }

  WorkBuffer buffer;
  Instance& record;
};

double radians(int32_t angle) { return static_cast<double>(angle) * 0.017453292519943295; }

// The definition of one row, value by value.
testing::AssertionResult row_follows_its_delay(const Instance& record, int m) {
  const Complex* row = record.steerTable[m];
  const double omega = static_cast<double>(record.sampleRate) * 0.01227184630308513;
  const double d = static_cast<double>(record.micDelay[m]) * omega;
  Complex expected[kBinCount];
  expected[0] = {1.0f, -0.0f};
  for (int k = 1; k < kBinCount; ++k) {
    const auto phi = static_cast<double>(static_cast<float>(static_cast<double>(k) * d));
    expected[k].re = static_cast<float>(std::cos(phi));
    expected[k].im = -static_cast<float>(std::sin(phi));
  }
  const auto same = same_spectra(row, expected, kBinCount);
  if (same) return same;
  return testing::AssertionFailure() << "row " << m << ": " << same.message();
}

TEST(Steering, LineFollowsItsFormulaAtEveryAngle) {
  for (int32_t angle = -725; angle <= 725; ++angle) {
    Array array(2);
    array.record.micPlacement[1] = -0.0375f;
    compute_steering(&array.record, angle);
    const double cosine = std::cos(radians(angle));
    const float slowness = 1.0f / 343.0f;
    for (int m = 0; m < 2; ++m) {
      const auto projection =
          static_cast<float>(static_cast<double>(array.record.micPlacement[m]) * cosine);
      EXPECT_TRUE(same_bits(array.record.micProjection[m], projection)) << angle;
      EXPECT_TRUE(same_bits(array.record.micDelay[m], projection * slowness)) << angle;
    }
    if (angle % 29 == 0) {
      EXPECT_TRUE(row_follows_its_delay(array.record, 1)) << angle;
    }
  }
}

TEST(Steering, TriangleFollowsItsFormulaAtEveryAngle) {
  const double seconds = (static_cast<double>(0.05f) * 0.999999999999999) / 343.0;
  for (int32_t angle = -725; angle <= 725; ++angle) {
    Array array(4, VEK_BF_UNIFORM_TRIANGLE_ARRAY);
    compute_steering(&array.record, angle);
    for (int m = 0; m < 4; ++m) {
      const auto a = static_cast<float>(radians(angle) - static_cast<double>(kQuarterTurns[m]));
      const auto projection = static_cast<float>(std::cos(static_cast<double>(a)));
      EXPECT_TRUE(same_bits(array.record.micProjection[m], projection)) << angle;
      EXPECT_TRUE(same_bits(array.record.micDelay[m],
                            static_cast<float>(seconds * static_cast<double>(projection))))
          << angle;
    }
    if (angle % 58 == 0) {
      for (int m = 0; m < 4; ++m) EXPECT_TRUE(row_follows_its_delay(array.record, m)) << angle;
    }
  }
}

TEST(Steering, AnglesAtTheEndsOfTheIntegersFollowTheFormulaToo) {
  for (int32_t angle : {INT_MIN, INT_MIN + 1, -1000000007, -361, 361, 3600090, INT_MAX}) {
    for (VekBfGeometry geometry : {VEK_BF_UNIFORM_LINEAR_ARRAY, VEK_BF_UNIFORM_TRIANGLE_ARRAY}) {
      Array array(4, geometry);
      compute_steering(&array.record, angle);
      for (int m = 0; m < 4; ++m) {
        const bool line = geometry == VEK_BF_UNIFORM_LINEAR_ARRAY;
        const auto a = static_cast<float>(radians(angle) - static_cast<double>(kQuarterTurns[m]));
        const float projection =
            line ? static_cast<float>(static_cast<double>(array.record.micPlacement[m]) *
                                      std::cos(radians(angle)))
                 : static_cast<float>(std::cos(static_cast<double>(a)));
        EXPECT_TRUE(same_bits(array.record.micProjection[m], projection)) << angle;
        EXPECT_TRUE(row_follows_its_delay(array.record, m)) << angle;
      }
    }
  }
}

TEST(Steering, RandomArraysOfEveryRateAreThoseOfTheModel) {
  const uint64_t seed = test_seed(301);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  Array library(0);
  Array model(0);
  for (int round = 0; round < 200; ++round) {
    for (Array* array : {&library, &model}) {
      Random same(seed + static_cast<uint64_t>(round));
      Instance& record = array->record;
      record.micNum = same.below(6) - 1;
      record.geometry = static_cast<VekBfGeometry>(same.below(2));
      record.sampleRate = kRates[same.below(7)];
      record.soundSpeed = 1 + same.below(round % 2 == 0 ? 400 : 3);
      record.arrayRadius = std::fabs(same.unit());
      for (float& placement : record.micPlacement) placement = 5.0f * same.unit();
    }
    const auto angle =
        random.below(3) == 0 ? static_cast<int32_t>(random.next32()) : random.below(1081) - 540;
    compute_steering(&library.record, angle);
    reference::compute_steering(&model.record, angle);
    ASSERT_TRUE(same_instances(library.record, model.record)) << round << ", angle " << angle;
  }
}

// Delays so long that a phase leaves the range of an ordinary array by far, or not a number at all.
TEST(Steering, AbsurdArraysAreThoseOfTheModel) {
  for (float metres : {1e3f, 1e6f, 1e20f, 3e38f, INFINITY, -INFINITY, NAN, 1e-20f, 1e-38f}) {
    for (VekBfGeometry geometry : {VEK_BF_UNIFORM_LINEAR_ARRAY, VEK_BF_UNIFORM_TRIANGLE_ARRAY}) {
      for (int32_t speed : {1, 343, INT_MAX, 0, -343}) {
        Array library(2, geometry);
        Array model(2, geometry);
        for (Array* array : {&library, &model}) {
          array->record.soundSpeed = speed;
          array->record.arrayRadius = metres;
          array->record.micPlacement[1] = metres;
        }
        compute_steering(&library.record, 30);
        reference::compute_steering(&model.record, 30);
        EXPECT_TRUE(same_instances(library.record, model.record))
            << metres << " m, " << speed << " m/s";
      }
    }
  }
}

TEST(Steering, BroadsideOfALineHasTinyButNonzeroDelays) {
  Array array(4);
  compute_steering(&array.record, 90);
  for (int m = 1; m < 4; ++m) {
    EXPECT_GT(array.record.micDelay[m], 0.0f);
    EXPECT_LT(array.record.micDelay[m], 1e-18f);
    for (int k = 0; k < kBinCount; ++k) {
      EXPECT_EQ(array.record.steerTable[m][k].re, 1.0f);
      EXPECT_NEAR(array.record.steerTable[m][k].im, 0.0f, 1e-12f);
    }
    EXPECT_LT(array.record.steerTable[m][256].im, 0.0f);
  }
}

// Its placement is 0, so its phase is a zero with the sign of the cosine.
TEST(Steering, MicrophoneZeroOfALineHasNoPhaseAndTheSignOfItsZeroIsTheCosines) {
  for (int32_t angle : {0, 37, 60, 89, 90, 91, 120, 180, 269, 270, 271, -60, -120, 100000}) {
    Array array(2);
    compute_steering(&array.record, angle);
    const bool behind = std::cos(radians(angle)) < 0.0;
    for (int k = 0; k < kBinCount; ++k) {
      const Complex value = array.record.steerTable[0][k];
      EXPECT_EQ(value.re, 1.0f);
      EXPECT_EQ(value.im, 0.0f);
      EXPECT_EQ(std::signbit(value.im), k == 0 || !behind) << "bin " << k << ", angle " << angle;
    }
  }
}

TEST(Steering, TriangleAtAngleZeroPointsAtMicrophoneZero) {
  Array array(1, VEK_BF_UNIFORM_TRIANGLE_ARRAY);
  compute_steering(&array.record, 0);
  EXPECT_EQ(array.record.micProjection[0], 1.0f);
  EXPECT_EQ(array.record.micDelay[0],
            static_cast<float>((static_cast<double>(0.05f) * 0.999999999999999) / 343.0));
}

// The factor shows where radius times projection is a tie of single precision: a radius of 3 and a
// projection below 2/3 give 25 bits, and a tie is every product that ends in 1.
TEST(Steering, TheCircleIsShortenedByItsRadiusFactor) {
  int decided = 0;
  for (int i = 0; i < 200; ++i) {
    Array array(1, VEK_BF_UNIFORM_TRIANGLE_ARRAY);
    array.record.arrayRadius = 3.0f;
    array.record.soundSpeed = 1;
    array.record.micPlacement[0] = 0.85f + 0.001f * static_cast<float>(i);
    compute_steering(&array.record, 0);
    const auto projection = static_cast<double>(array.record.micProjection[0]);
    const auto shortened = static_cast<float>(3.0 * 0.999999999999999 * projection);
    const auto whole = static_cast<float>(3.0 * projection);
    decided += shortened != whole;
    ASSERT_EQ(array.record.micDelay[0], shortened) << i;
  }
  EXPECT_GT(decided, 10);
}

// Delays found by search: with the phase step of a bin one unit in the last place of a double lower
// or higher, one of these rows would come out differently.
TEST(Steering, ThePhaseStepOfABinIsExactToTheLastBit) {
  constexpr float kDelays[] = {0x1.0d1322p-20f, 0x1.3ac0fcp-20f};
  constexpr double kStep = 0.01227184630308513;
  const auto im = [](float delay, int k, double step) {
    const double d = static_cast<double>(delay) * (16000.0 * step);
    return -static_cast<float>(
        std::sin(static_cast<double>(static_cast<float>(static_cast<double>(k) * d))));
  };
  EXPECT_NE(im(kDelays[0], 1, kStep), im(kDelays[0], 1, std::nextafter(kStep, 0.0)));
  EXPECT_NE(im(kDelays[1], 87, kStep), im(kDelays[1], 87, std::nextafter(kStep, 1.0)));
  for (float delay : kDelays) {
    Array array(2);
    array.record.soundSpeed = 1;
    array.record.micPlacement[1] = delay;
    compute_steering(&array.record, 0);
    EXPECT_EQ(array.record.micDelay[1], delay);
    EXPECT_TRUE(row_follows_its_delay(array.record, 1));
  }
}

TEST(Steering, UnsupportedGeometriesPrintOneBareLineAndKeepEverything) {
  for (int32_t geometry : {2, 3, 4, -1, INT_MAX, INT_MIN}) {
    for (int32_t mics : {0, 1, 4}) {
      Array array(mics, static_cast<VekBfGeometry>(geometry));
      for (int m = 0; m < kMaxMics; ++m) {
        array.record.micProjection[m] = 3.0f;
        array.record.micDelay[m] = 4.0f;
        for (Complex& value : array.record.steerTable[m]) value = {5.0f, 6.0f};
      }
      const auto before = array.buffer.bytes();
      EXPECT_EQ(printed([&] { compute_steering(&array.record, 45); }), kGeometryLine);
      EXPECT_EQ(array.buffer.bytes(), before);
      EXPECT_EQ(printed([&] {
                  compute_steering(&array.record, 45);
                  compute_steering(&array.record, 45);
                }),
                std::string(kGeometryLine) + kGeometryLine);
    }
  }
}

TEST(Steering, SupportedGeometriesPrintNothing) {
  Array line(4);
  Array triangle(4, VEK_BF_UNIFORM_TRIANGLE_ARRAY);
  EXPECT_EQ(printed([&] {
              compute_steering(&line.record, 45);
              compute_steering(&triangle.record, 45);
            }),
            "");
}

TEST(Steering, BinZeroIsFixedAndTheNyquistBinIsComputed) {
  for (VekBfGeometry geometry : {VEK_BF_UNIFORM_LINEAR_ARRAY, VEK_BF_UNIFORM_TRIANGLE_ARRAY}) {
    Array array(2, geometry);
    compute_steering(&array.record, 10);
    for (int m = 0; m < 2; ++m) {
      EXPECT_EQ(array.record.steerTable[m][0].re, 1.0f);
      EXPECT_EQ(array.record.steerTable[m][0].im, 0.0f);
      EXPECT_TRUE(std::signbit(array.record.steerTable[m][0].im));
    }
    // pi times the rate times the delay.
    const double phase = 3.14159265358979 * 16000.0 * static_cast<double>(array.record.micDelay[1]);
    EXPECT_NEAR(static_cast<double>(array.record.steerTable[1][256].re), std::cos(phase), 1e-5);
    EXPECT_NEAR(static_cast<double>(array.record.steerTable[1][256].im), -std::sin(phase), 1e-5);
    EXPECT_GT(std::fabs(array.record.steerTable[1][256].im), 0.1f);
  }
}

TEST(Steering, WithoutMicrophonesNothingIsComputed) {
  for (VekBfGeometry geometry : {VEK_BF_UNIFORM_LINEAR_ARRAY, VEK_BF_UNIFORM_TRIANGLE_ARRAY}) {
    for (int32_t mics : {0, -1, INT_MIN}) {
      Array array(mics, geometry);
      const auto before = array.buffer.bytes();
      compute_steering(&array.record, 45);
      EXPECT_EQ(array.buffer.bytes(), before);
    }
  }
}

TEST(Steering, WritesTheRowsOfItsMicrophonesAndNoOthers) {
  for (VekBfGeometry geometry : {VEK_BF_UNIFORM_LINEAR_ARRAY, VEK_BF_UNIFORM_TRIANGLE_ARRAY}) {
    Array four(4, geometry);
    compute_steering(&four.record, 33);
    for (int32_t mics = 1; mics <= 4; ++mics) {
      Array array(mics, geometry);
      compute_steering(&array.record, 33);
      for (int m = 0; m < kMaxMics; ++m) {
        const Complex untouched[kBinCount] = {};
        EXPECT_TRUE(same_spectra(array.record.steerTable[m],
                                 m < mics ? four.record.steerTable[m] : untouched, kBinCount));
        EXPECT_EQ(array.record.micDelay[m], m < mics ? four.record.micDelay[m] : 0.0f);
        EXPECT_EQ(array.record.micProjection[m], m < mics ? four.record.micProjection[m] : 0.0f);
      }
    }
  }
}

TEST(Steering, MoreThanFourMicrophonesFillFourRowsOnly) {
  for (int32_t mics : {5, 1000, INT_MAX}) {
    Array four(4);
    Array array(mics);
    compute_steering(&four.record, 33);
    compute_steering(&array.record, 33);
    four.record.micNum = mics;
    EXPECT_EQ(array.buffer.bytes(), four.buffer.bytes());
  }
}

TEST(Steering, NothingIsCachedBetweenCalls) {
  Array fresh(4);
  Array used(4);
  compute_steering(&used.record, 120);
  used.record.sampleRate = 8000;
  compute_steering(&used.record, 20);
  used.record.sampleRate = 16000;
  compute_steering(&used.record, 20);
  compute_steering(&fresh.record, 20);
  EXPECT_EQ(used.buffer.bytes(), fresh.buffer.bytes());
}

// The weights undo the phases with which a wave from the look direction reaches the microphones.
TEST(Steering, BringsAWaveFromTheLookDirectionIntoPhase) {
  Array array(4);
  compute_steering(&array.record, 40);
  for (int m = 0; m < 4; ++m) {
    for (int k = 0; k < kBinCount; ++k) {
      // It arrives earlier the further a microphone lies towards it.
      const double earlier = 0.04 * m * std::cos(radians(40)) / 343.0;
      const double phase = 2.0 * 3.14159265358979 * k * 16000.0 / 512.0 * earlier;
      const Complex w = array.record.steerTable[m][k];
      const double re =
          static_cast<double>(w.re) * std::cos(phase) - static_cast<double>(w.im) * std::sin(phase);
      EXPECT_NEAR(re, 1.0, 1e-5) << "microphone " << m << ", bin " << k;
    }
  }
}

}  // namespace
}  // namespace vekbf::test
