// SPDX-License-Identifier: MIT
//
// What a listener would notice: level, lag and direction.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "support/beam.h"
#include "support/records.h"

namespace vekbf::test {
namespace {

constexpr double kPi = 3.14159265358979323846;

// Every sample is weighted once at analysis and once at synthesis by w(n) = 0.54 - 0.46 cos(2 pi n
// / 512), in four frames a quarter of a frame apart, and halved. Of w^2 = 0.54^2 + 0.46^2 / 2 -
// 2 0.54 0.46 cos(x) + 0.46^2 / 2 cos(2x) both cosines cancel over four quarter turns, so that the
// gain is the same for every sample: 0.5 * 4 * (0.2916 + 0.1058) = 0.7948.
constexpr double kGain = 0.7948;

TEST(Level, TheSquaredWindowsOfFourFramesAddUpToTheGain) {
  for (int n = 0; n < kHopSize; ++n) {
    double sum = 0.0;
    for (int frame = 0; frame < 4; ++frame) {
      const double w = 0.54 - 0.46 * std::cos(2.0 * kPi * (n + frame * kHopSize) / kFrameSize);
      sum += w * w;
    }
    EXPECT_NEAR(0.5 * sum, kGain, 1e-12);
  }
}

TEST(Level, OneMicrophoneComesOutAtItsGainAfter384SamplesAtAnyAngle) {
  for (int32_t angle : {90, 0, 1, 37, 180, -90, 271, 360, 100000, -2147483647 - 1, 2147483647}) {
    for (int peak : {100, 8000, 32767}) {
      Random random(101);
      Beam beam(array_of(1));
      ASSERT_EQ(beam.configure(), VEK_BF_OK);
      Block heard, out;
      for (int b = 0; b < 12; ++b) {
        const Block in = noise_block(random, 1, peak);
        const Block block = beam.run(in, angle);
        heard.insert(heard.end(), in.begin(), in.end());
        out.insert(out.end(), block.begin(), block.end());
      }
      for (size_t i = VEK_BF_LAG_SAMPLES; i < out.size(); ++i) {
        ASSERT_NEAR(out[i], kGain * heard[i - VEK_BF_LAG_SAMPLES], 4.0)
            << "sample " << i << ", angle " << angle << ", peak " << peak;
      }
    }
  }
}

TEST(Level, AMovingAngleDoesNotTouchOneMicrophone) {
  Random random(102);
  Beam still(array_of(1)), moving(array_of(1));
  ASSERT_EQ(still.configure(), VEK_BF_OK);
  ASSERT_EQ(moving.configure(), VEK_BF_OK);
  for (int b = 0; b < 12; ++b) {
    const Block in = noise_block(random, 1);
    EXPECT_EQ(still.run(in, 90), moving.run(in, 31 * b));
  }
}

TEST(Level, IdenticalChannelsSteeredBroadsideComeOutLikeOne) {
  Random random(103);
  for (int mics = 2; mics <= 4; ++mics) {
    Beam one(array_of(1)), many(array_of(mics));
    ASSERT_EQ(one.configure(), VEK_BF_OK);
    ASSERT_EQ(many.configure(), VEK_BF_OK);
    for (int b = 0; b < 8; ++b) {
      const Block in = noise_block(random, 1);
      Block copies;
      for (int16_t x : in) copies.insert(copies.end(), static_cast<size_t>(mics), x);
      const Block expected = one.run(in, 90), out = many.run(copies, 90);
      // Each of four frames may be truncated to the other side of an integer.
      for (size_t i = 0; i < kHopSize; ++i) EXPECT_NEAR(out[i], expected[i], 4.0);
    }
  }
}

// A far-field plane wave: tones at every fifth bin from 150 Hz to 7.8 kHz with random phases. It
// repeats with the frame, and its tones are so far apart that the window does not mix their powers:
// the power of a steered frame does not depend on where the frame begins.
class PlaneWave {
 public:
  explicit PlaneWave(uint64_t seed) {
    Random random(seed);
    for (double& phase : phases_) phase = kPi * random.unit();
    for (int n = 0; n < kFrameSize; ++n) cosines_[n] = std::cos(2.0 * kPi * n / kFrameSize);
  }

  // The interleaved samples of one period as the array hears it. A microphone with the arrival-time
  // difference tau hears the wave that much earlier than the reference.
  Block arriving(const VekBfInit& init, double degrees) const {
    Block samples(static_cast<size_t>(kFrameSize * init.micNum));
    for (int m = 0; m < init.micNum; ++m) {
      const double lead = init.sampleRate * tau(init, m, degrees * kPi / 180.0);
      double re[kTones], im[kTones];
      for (int i = 0; i < kTones; ++i) {
        const double phase = 2.0 * kPi * (kStep * (i + 1)) * lead / kFrameSize + phases_[i];
        re[i] = std::cos(phase);
        im[i] = std::sin(phase);
      }
      for (int t = 0; t < kFrameSize; ++t) {
        double sum = 0.0;
        for (int i = 0; i < kTones; ++i) {
          const int turn = kStep * (i + 1) * t % kFrameSize;
          sum +=
              re[i] * cosines_[turn] - im[i] * cosines_[(turn + 3 * kFrameSize / 4) % kFrameSize];
        }
        samples[static_cast<size_t>(t * init.micNum + m)] =
            static_cast<int16_t>(std::lrint(1000.0 * sum));
      }
    }
    return samples;
  }

 private:
  static constexpr int kStep = 5, kTones = 50;

  static double tau(const VekBfInit& init, int m, double theta) {
    const double x0 = init.micCoordinate[0][0];
    const double metres = init.geometry == VEK_BF_UNIFORM_LINEAR_ARRAY
                              ? (init.micCoordinate[m][0] - x0) * std::cos(theta)
                              : std::fabs(x0) * std::cos(theta - m * kPi / 2);
    return metres / init.soundSpeed;
  }

  double phases_[kTones];
  double cosines_[kFrameSize];  // of a whole turn; a sine is the cosine three quarters further on
};

// The power of a frame of the wave, steered to any angle. The history is filled once; every angle
// then starts from a copy of that record, with an empty accumulator.
class SteeredPower {
 public:
  SteeredPower(const VekBfInit& init, const Block& period) : beam_(init) {
    EXPECT_EQ(beam_.configure(), VEK_BF_OK);
    const auto block = static_cast<size_t>(kHopSize * init.micNum);
    for (size_t b = 0; b < 4; ++b) {
      last_.assign(period.begin() + static_cast<std::ptrdiff_t>(b * block),
                   period.begin() + static_cast<std::ptrdiff_t>((b + 1) * block));
      if (b < 3) beam_.run(last_);
    }
    std::memset(beam_.record().outputOverlap, 0, sizeof beam_.record().outputOverlap);
    start_ = std::make_unique<Instance>(beam_.record());
  }

  double at(int32_t degrees) {
    beam_.record() = *start_;
    double power = 0.0;
    for (int16_t x : beam_.run(last_, degrees)) power += static_cast<double>(x) * x;
    for (int16_t x : beam_.record().outputOverlap) power += static_cast<double>(x) * x;
    return power;
  }

 private:
  Beam beam_;
  Block last_;
  std::unique_ptr<Instance> start_;
};

void expect_strongest_when_steered_there(const VekBfInit& init, int last_angle) {
  const PlaneWave wave(104);
  for (int truth = 0; truth <= last_angle; truth += 5) {
    SteeredPower power(init, wave.arriving(init, truth));
    const double strongest = power.at(truth);
    // Every angle in the main lobe, and every fourth elsewhere.
    for (int other = 0; other <= last_angle; other += 5) {
      const int off = std::abs(other - truth);
      if (off == 0 || (off > 20 && off % 20 != 0)) continue;
      EXPECT_LT(power.at(other), strongest) << "from " << truth << ", steered to " << other;
    }
    if (testing::Test::HasFailure()) return;
  }
}

TEST(Direction, ALineIsStrongestTowardsTheWave) {
  for (int32_t mics : {2, 4}) {
    VekBfInit init = array_of(mics);
    for (int m = 0; m < 4; ++m) init.micCoordinate[m][0] = 0.05f * static_cast<float>(m);
    SCOPED_TRACE(std::to_string(mics) + " microphones");
    expect_strongest_when_steered_there(init, 180);
  }
}

TEST(Direction, ALineOnTheOtherSideOfMicrophoneZeroIsToo) {
  VekBfInit init = array_of(3);
  for (int m = 0; m < 4; ++m) init.micCoordinate[m][0] = 0.1f - 0.06f * static_cast<float>(m);
  expect_strongest_when_steered_there(init, 180);
}

TEST(Direction, ATriangleIsStrongestTowardsTheWaveAllAround) {
  for (int32_t mics : {3, 4}) {
    VekBfInit init = array_of(mics, VEK_FIXED_BF, VEK_BF_UNIFORM_TRIANGLE_ARRAY);
    init.micCoordinate[0][0] = -0.05f;
    SCOPED_TRACE(std::to_string(mics) + " microphones");
    expect_strongest_when_steered_there(init, 355);
  }
}

TEST(Direction, AnAngleAndItsNegativeAreTheSameToALine) {
  Random random(105);
  Beam beam(array_of(4)), mirrored(array_of(4));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  ASSERT_EQ(mirrored.configure(), VEK_BF_OK);
  for (int degrees = 0; degrees <= 180; degrees += 5) {
    const Block in = noise_block(random, 4);
    EXPECT_EQ(beam.run(in, degrees), mirrored.run(in, -degrees));
    EXPECT_TRUE(same_field(beam.record().steerTable, mirrored.record().steerTable)) << degrees;
  }
}

}  // namespace
}  // namespace vekbf::test
