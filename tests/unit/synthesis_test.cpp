// SPDX-License-Identifier: MIT
#include "bf/record_stages.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "fft/fft.h"
#include "reference/synthesis.h"
#include "support/records.h"
#include "support/twins.h"

namespace vekbf::test {
namespace {

constexpr int32_t kRectangle = 3;

// A record with a transform whose window is 1 everywhere, so that a spectrum with nothing but bin 0
// comes out as the same exact value in every sample: bin 0 over 512.
class Rectangle {
 public:
  Rectangle() : buffer_(0) {
    const FftInitParams params{0, kFrameSize, 0, kRectangle};
    printed([&] { record().fftState = fft_init(&params); });
  }
  ~Rectangle() { fft_free(record().fftState); }
  Rectangle(const Rectangle&) = delete;
  Rectangle& operator=(const Rectangle&) = delete;

  Instance& record() { return *buffer_.instance(); }
  // Adds frames of the constant y.
  void add(float y) {
    Complex spectrum[kBinCount] = {};
    spectrum[0].re = 512.0f * y;
    synthesise(record(), spectrum);
  }
  // The value that all 512 samples have.
  int sample() {
    for (int16_t value : record().outputOverlap) EXPECT_EQ(value, record().outputOverlap[0]);
    return record().outputOverlap[0];
  }
  void clear_output() { std::memset(record().outputOverlap, 0, sizeof record().outputOverlap); }

 private:
  WorkBuffer buffer_;
};

int added_by(float y) {
  Rectangle rectangle;
  rectangle.add(y);
  return rectangle.sample();
}

TEST(Synthesis, HalvesAndTruncatesTowardZero) {
  EXPECT_EQ(added_by(2.0f), 1);
  EXPECT_EQ(added_by(1.9999f), 0);
  EXPECT_EQ(added_by(-1.4f), 0);   // -0.7
  EXPECT_EQ(added_by(-3.0f), -1);  // -1.5
  EXPECT_EQ(added_by(3.0f), 1);
  EXPECT_EQ(added_by(-2.0f), -1);
  EXPECT_EQ(added_by(12345.0f), 6172);
  EXPECT_EQ(added_by(-12345.0f), -6172);
  EXPECT_EQ(added_by(0.0f), 0);
}

TEST(Synthesis, ValuesThatAreTooSmallToHalveAddNothing) {
  EXPECT_EQ(added_by(std::numeric_limits<float>::min()), 0);
  EXPECT_EQ(added_by(-std::numeric_limits<float>::denorm_min()), 0);
}

TEST(Synthesis, SumsWrapInsteadOfClipping) {
  EXPECT_EQ(added_by(65535.0f), 32767);
  EXPECT_EQ(added_by(65536.0f), -32768);
  EXPECT_EQ(added_by(-65538.0f), 32767);
  EXPECT_EQ(added_by(80000.0f), 40000 - 65536);
  EXPECT_EQ(added_by(131072.0f), 0);
  Rectangle rectangle;
  rectangle.add(60000.0f);
  rectangle.add(60000.0f);
  EXPECT_EQ(rectangle.sample(), 60000 - 65536);
  rectangle.add(-60000.0f);
  EXPECT_EQ(rectangle.sample(), 30000);
}

TEST(Synthesis, ConversionSaturatesAt32Bits) {
  const float below = std::nextafter(0x1p32f, 0.0f);  // halved 2^31 - 128
  EXPECT_EQ(added_by(below), -128);
  EXPECT_EQ(added_by(0x1p32f), -1);  // INT32_MAX, its low bits
  EXPECT_EQ(added_by(1e20f), -1);
  EXPECT_EQ(added_by(-0x1p32f), 0);  // INT32_MIN, its low bits
  EXPECT_EQ(added_by(-1e20f), 0);
  EXPECT_EQ(added_by(-below), 128);
}

TEST(Synthesis, NotANumberIsSilence) {
  EXPECT_EQ(added_by(std::numeric_limits<float>::quiet_NaN()), 0);
}

TEST(Synthesis, AddsToWhatIsThereSampleBySample) {
  Rectangle rectangle;
  for (int n = 0; n < kFrameSize; ++n) {
    rectangle.record().outputOverlap[n] = static_cast<int16_t>(131 * n);
  }
  rectangle.add(20000.0f);
  for (int n = 0; n < kFrameSize; ++n) {
    EXPECT_EQ(rectangle.record().outputOverlap[n], static_cast<int16_t>(131 * n + 10000)) << n;
  }
}

TEST(Synthesis, WeightsTheFrameWithTheWindow) {
  Beam beam(array_of(1));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Complex spectrum[kBinCount] = {};
  spectrum[0].re = 512.0f * 20000.0f;
  synthesise(beam.record(), spectrum);
  for (int n = 0; n < kFrameSize; ++n) {
    const double window = 0.54 - 0.46 * std::cos(2.0 * 3.14159265358979 * n / 512.0);
    EXPECT_NEAR(beam.record().outputOverlap[n], 10000.0 * window, 1.0) << n;
  }
}

TEST(Synthesis, RunsOneInverseTransformAndLeavesTheSpectrumAlone) {
  Beam beam(array_of(1));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Random random(311);
  Complex spectrum[kBinCount];
  for (Complex& bin : spectrum) bin = {1e5f * random.unit(), 1e5f * random.unit()};
  const auto before = bytes_of(spectrum);
  EXPECT_EQ(printed([&] { synthesise(beam.record(), spectrum); }), "");
  EXPECT_EQ(bytes_of(spectrum), before);
  const FftState& transform = *beam.record().fftState;
  EXPECT_TRUE(same_floats(transform.windowSqSum, transform.windowSq, kFrameSize));
}

TEST(Synthesis, RandomSpectraOfEverySizeAreThoseOfTheModel) {
  const uint64_t seed = test_seed(312);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  Twins twins(array_of(1));
  for (int high = -20; high <= 60; high += 5) {
    Complex spectrum[kBinCount];
    for (Complex& bin : spectrum) {
      bin = {any_size(random, high - 20, high), any_size(random, high - 20, high)};
    }
    synthesise(twins.library(), spectrum);
    reference::synthesise(&twins.model(), spectrum);
    ASSERT_TRUE(twins.same()) << "up to 2^" << high;
  }
}

TEST(Synthesis, WithoutATransformPrintsItsRefusalAndAddsSilence) {
  WorkBuffer buffer(0);
  Instance& record = *buffer.instance();
  record.outputOverlap[7] = 77;
  Complex spectrum[kBinCount];
  for (Complex& bin : spectrum) bin = {1e6f, 1e6f};
  const auto before = buffer.bytes();
  EXPECT_EQ(printed([&] { synthesise(record, spectrum); }),
            error_line("do_fft", "FFT work buffer is NULL"));
  EXPECT_EQ(buffer.bytes(), before);
}

TEST(Synthesis, WithAnUnusableTransformPrintsItsRefusalAndAddsSilence) {
  Rectangle rectangle;
  rectangle.record().outputOverlap[7] = 77;
  rectangle.record().fftState->initFlag = 0;
  Complex spectrum[kBinCount];
  for (Complex& bin : spectrum) bin = {1e6f, 1e6f};
  EXPECT_EQ(printed([&] { synthesise(rectangle.record(), spectrum); }),
            error_line("do_fft", "FFT work buffer hasn't been initialized"));
  for (int n = 0; n < kFrameSize; ++n) {
    EXPECT_EQ(rectangle.record().outputOverlap[n], n == 7 ? 77 : 0);
  }
}

}  // namespace
}  // namespace vekbf::test
