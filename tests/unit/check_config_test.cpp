// SPDX-License-Identifier: MIT
#include "api/check_config.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "support/beam.h"

namespace vekbf::test {
namespace {

struct Records {
  VekBfInit init = array_of(2);
  VekBfConfig config = kConfig;
};

// The code and the lines of a configuration with these records; asserts that a refusal leaves every
// byte of the working buffer as it was.
struct Outcome {
  uint32_t code;
  std::string lines;
};

Outcome configure(const Records& records) {
  Beam beam(records.init);
  const std::vector<uint8_t> before = beam.bytes();
  Outcome outcome{beam.configure(records.config), beam.lines()};
  if (outcome.code != VEK_BF_OK) {
    EXPECT_EQ(beam.bytes(), before) << "a refused configuration changed the buffer";
  } else {
    EXPECT_NE(beam.bytes(), before);
  }
  return outcome;
}

void expect_accepted(const Records& records) {
  const Outcome outcome = configure(records);
  EXPECT_EQ(outcome.code, VEK_BF_OK);
  EXPECT_EQ(outcome.lines, kConfiguredLine);
}

void expect_refused(const Records& records, uint32_t code, const std::string& message) {
  const Outcome outcome = configure(records);
  EXPECT_EQ(outcome.code, code);
  EXPECT_EQ(outcome.lines, error_line("VekBf_SetConfig", message));
}

template <class Change>
Records with(Change&& change) {
  Records records;
  change(records);
  return records;
}

Records with_rate(uint32_t rate) {
  return with([&](Records& r) { r.init.sampleRate = rate; });
}
Records with_width(int32_t width) {
  return with([&](Records& r) { r.init.bitWidth = width; });
}
Records with_speed(int32_t speed) {
  return with([&](Records& r) { r.init.soundSpeed = speed; });
}
Records with_mics(int32_t mics) {
  return with([&](Records& r) { r.init.micNum = mics; });
}
Records with_geometry(int32_t geometry) {
  return with([&](Records& r) { r.init.geometry = static_cast<VekBfGeometry>(geometry); });
}
Records with_threshold(float threshold) {
  return with([&](Records& r) { r.config.vadThreshold = threshold; });
}
Records with_intensity(uint32_t intensity) {
  return with([&](Records& r) { r.config.intensity = intensity; });
}

TEST(CheckConfig, SampleRatesFrom8000To48000AreAccepted) {
  for (uint32_t rate : {8000u, 8001u, 11025u, 16000u, 47999u, 48000u}) {
    SCOPED_TRACE(rate);
    expect_accepted(with_rate(rate));
  }
}

TEST(CheckConfig, OtherSampleRatesAreRefused) {
  for (uint32_t rate : {0u, 7999u, 48001u, 96000u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
    SCOPED_TRACE(rate);
    expect_refused(with_rate(rate), 0x30000403, "Invalid Sample Rate");
  }
}

TEST(CheckConfig, OnlySixteenBitsAreAccepted) {
  expect_accepted(with_width(16));
  for (int32_t width : {0, 15, 17, 24, 32, -16, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(width);
    expect_refused(with_width(width), 0x30000404, "Invalid bit width");
  }
}

TEST(CheckConfig, SoundSpeedsFromOneAreAccepted) {
  for (int32_t speed : {1, 2, 343, INT_MAX}) {
    SCOPED_TRACE(speed);
    expect_accepted(with_speed(speed));
  }
  for (int32_t speed : {0, -1, -343, INT_MIN}) {
    SCOPED_TRACE(speed);
    expect_refused(with_speed(speed), 0x30000405, "Invalid Sound Speed");
  }
}

TEST(CheckConfig, UpToFourMicrophonesAreAcceptedWithoutALowerBound) {
  for (int32_t mics : {4, 3, 2, 1, 0, -1, INT_MIN}) {
    SCOPED_TRACE(mics);
    expect_accepted(with_mics(mics));
  }
  for (int32_t mics : {5, 6, 9, INT_MAX}) {
    SCOPED_TRACE(mics);
    expect_refused(with_mics(mics), 0x30000406, "Invalid Microphone numbers");
  }
}

TEST(CheckConfig, GeometriesOutsideTheEnumerationAreRefusedWithTheMicrophoneMessage) {
  for (int32_t geometry : {0, 1, 2, 3}) {
    SCOPED_TRACE(geometry);
    expect_accepted(with_geometry(geometry));
  }
  // Compared as unsigned, so that negative values are too large.
  for (int32_t geometry : {4, 5, -1, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(geometry);
    expect_refused(with_geometry(geometry), 0x30000407, "Invalid Microphone numbers");
  }
}

TEST(CheckConfig, ThresholdsFromZeroToOneAreAccepted) {
  for (float threshold : {0.0f, -0.0f, std::numeric_limits<float>::denorm_min(), 0.5f,
                          std::nextafter(1.0f, 0.0f), 1.0f}) {
    SCOPED_TRACE(threshold);
    expect_accepted(with_threshold(threshold));
  }
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  for (float threshold : {1.01f, std::nextafter(1.0f, 2.0f), kInfinity, -0.01f, -1.0f, -kInfinity,
                          -std::numeric_limits<float>::min()}) {
    SCOPED_TRACE(threshold);
    expect_refused(with_threshold(threshold), 0x30000409, "Invalid Vad Threshold");
  }
}

TEST(CheckConfig, AThresholdThatIsNotANumberPasses) {
  expect_accepted(with_threshold(std::numeric_limits<float>::quiet_NaN()));
  expect_accepted(with_threshold(-std::numeric_limits<float>::quiet_NaN()));
}

TEST(CheckConfig, IntensitiesUpToTenAreAccepted) {
  for (uint32_t intensity : {0u, 1u, 9u, 10u}) {
    SCOPED_TRACE(intensity);
    expect_accepted(with_intensity(intensity));
  }
  // A negative value seen as unsigned is too large.
  for (uint32_t intensity : {11u, 12u, static_cast<uint32_t>(-1), 0x80000000u}) {
    SCOPED_TRACE(intensity);
    expect_refused(with_intensity(intensity), 0x30000410, "Invalid Intensity");
  }
}

TEST(CheckConfig, TheAlgorithmIsNeverChecked) {
  for (int32_t algorithm : {0, 1, 2, 5, -1, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(algorithm);
    expect_accepted(
        with([&](Records& r) { r.init.algorithm = static_cast<VekBfAlgorithm>(algorithm); }));
  }
}

TEST(CheckConfig, CoordinatesAreNeverChecked) {
  expect_accepted(with([](Records& r) {
    r.init.micCoordinate[0][0] = std::numeric_limits<float>::quiet_NaN();
    r.init.micCoordinate[1][0] = -std::numeric_limits<float>::infinity();
  }));
}

TEST(CheckConfig, OfSeveralFaultsTheFirstInOrderIsReported) {
  struct Fault {
    uint32_t code;
    const char* message;
    std::function<void(Records&)> make;
  };
  const Fault faults[] = {
      {0x30000403, "Invalid Sample Rate", [](Records& r) { r.init.sampleRate = 7999; }},
      {0x30000404, "Invalid bit width", [](Records& r) { r.init.bitWidth = 24; }},
      {0x30000405, "Invalid Sound Speed", [](Records& r) { r.init.soundSpeed = 0; }},
      {0x30000406, "Invalid Microphone numbers", [](Records& r) { r.init.micNum = 5; }},
      {0x30000407, "Invalid Microphone numbers",
       [](Records& r) { r.init.geometry = static_cast<VekBfGeometry>(4); }},
      {0x30000409, "Invalid Vad Threshold", [](Records& r) { r.config.vadThreshold = 1.01f; }},
      {0x30000410, "Invalid Intensity", [](Records& r) { r.config.intensity = 11; }},
  };
  constexpr size_t kFaults = std::size(faults);
  // Every set of faults: the pairs are among them.
  for (unsigned set = 1; set < 1u << kFaults; ++set) {
    SCOPED_TRACE(set);
    Records records;
    size_t first = kFaults;
    for (size_t i = kFaults; i-- > 0;) {
      if ((set >> i & 1) == 0) continue;
      faults[i].make(records);
      first = i;
    }
    expect_refused(records, faults[first].code, faults[first].message);
  }
}

TEST(CheckConfig, ARefusedReconfigurationLeavesARunningInstanceAsItWas) {
  Random random(21);
  Beam beam(array_of(2, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  for (int b = 0; b < 5; ++b) beam.run(noise_block(random, 2));
  const std::vector<uint8_t> before = beam.bytes();
  EXPECT_EQ(beam.configure({1.5f, 5}), 0x30000409u);
  EXPECT_EQ(beam.configure({0.5f, 11}), 0x30000410u);
  EXPECT_EQ(beam.bytes(), before);
}

TEST(CheckConfig, FirstFaultHasNoMessageWhereThereIsNone) {
  Beam beam(array_of(1));
  const ConfigFault fault = first_fault(beam.record(), kConfig);
  EXPECT_EQ(fault.code, VEK_BF_OK);
  EXPECT_EQ(fault.message, nullptr);
}

TEST(ErrorCodes, HaveTheirPublishedValues) {
  EXPECT_EQ(VEK_BF_OK, 0u);
  EXPECT_EQ(VEK_BF_ERR_NULL_HANDLE, 0x30000402u);
  EXPECT_EQ(VEK_BF_ERR_SAMPLE_RATE, 0x30000403u);
  EXPECT_EQ(VEK_BF_ERR_BIT_WIDTH, 0x30000404u);
  EXPECT_EQ(VEK_BF_ERR_SOUND_SPEED, 0x30000405u);
  EXPECT_EQ(VEK_BF_ERR_MIC_NUM, 0x30000406u);
  EXPECT_EQ(VEK_BF_ERR_GEOMETRY, 0x30000407u);
  // 0x30000408 is skipped, and 0x30000409 is followed by 0x30000410.
  EXPECT_EQ(VEK_BF_ERR_VAD_THRESHOLD, 0x30000409u);
  EXPECT_EQ(VEK_BF_ERR_INTENSITY, 0x30000410u);
}

}  // namespace
}  // namespace vekbf::test
