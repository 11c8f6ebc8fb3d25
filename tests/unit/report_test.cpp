// SPDX-License-Identifier: MIT
#include "api/report.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <limits>

#include "support/beam.h"

namespace vekbf::test {
namespace {

const std::string kRule(72, '=');

std::string report(Beam& beam) {
  return printed([&] { EXPECT_EQ(VekBf_GetConfig(beam.handle()), VEK_BF_OK); });
}

std::string line_of(const std::string& text, const std::string& start) {
  const size_t begin = text.find(start);
  if (begin == std::string::npos) return "no line starts with " + start;
  return text.substr(begin, text.find('\n', begin) - begin);
}

std::string mic_num_line(int32_t mics) {
  std::string line = "\tMic Num: ";
  line += std::to_string(mics);
  return line;
}

TEST(Report, OfAConfiguredInstanceByteForByte) {
  VekBfInit init = array_of(2, VEK_ADAPTIVE_BF);
  init.micCoordinate[0][0] = -0.25f;
  init.micCoordinate[0][1] = 0.125f;
  init.micCoordinate[1][0] = 0.75f;
  init.micCoordinate[1][1] = -1.00004f;
  Beam beam(init);
  ASSERT_EQ(beam.configure({0.25f, 7}), VEK_BF_OK);
  EXPECT_EQ(report(beam), kRule +
                              "\n"
                              "Tolvane BF Algorithm Library Version: 2022-11-29, v2.0.0\n"
                              "BF Parameters:\n"
                              "\tSample Rate: 16000\n"
                              "\tBit Width: 16\n"
                              "\tVad Threshold: 0.250000\n"
                              "\tBF Intensity: 7\n"
                              "\tBF Algorithm: VEK_ADAPTIVE_BF\n"
                              "\tMic Num: 2\n"
                              "\tMic Geometry: VEK_BF_UNIFORM_LINEAR_ARRAY\n"
                              "\tMic Coordinate:\n"
                              "\t[-0.2500, 0.1250] [0.7500, -1.0000] \n"
                              "\tRun Mode: ARM_NEON_MODE\n" +
                              kRule + "\n");
}

TEST(Report, ListsOneCoordinatePairPerMicrophone) {
  const char* const lines[] = {
      "\t\n", "\t[0.0600, 0.0000] \n", "\t[0.0600, 0.0000] [0.0200, 0.0100] \n",
      "\t[0.0600, 0.0000] [0.0200, 0.0100] [-0.0200, 0.0200] \n",
      "\t[0.0600, 0.0000] [0.0200, 0.0100] [-0.0200, 0.0200] [-0.0600, 0.0300] \n"};
  for (int32_t mics = 0; mics <= 4; ++mics) {
    Beam beam(array_of(mics));
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    const std::string text = report(beam);
    EXPECT_NE(text.find(std::string("\tMic Coordinate:\n") + lines[mics] + "\tRun Mode"),
              std::string::npos)
        << text;
    EXPECT_EQ(line_of(text, "\tMic Num"), mic_num_line(mics));
  }
}

TEST(Report, NamesEveryGeometryAndAlgorithm) {
  for (int32_t geometry = 0; geometry <= 3; ++geometry) {
    Beam beam(array_of(3, VEK_FIXED_BF, static_cast<VekBfGeometry>(geometry)));
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    const char* const names[] = {"VEK_BF_UNIFORM_LINEAR_ARRAY", "VEK_BF_UNIFORM_TRIANGLE_ARRAY",
                                 "VEK_BF_UNIFORM_RECTANGLE_ARRAY", "VEK_BF_UNIFORM_CIRCULAR_ARRAY"};
    EXPECT_EQ(line_of(report(beam), "\tMic Geometry"),
              std::string("\tMic Geometry: ") + names[geometry]);
    EXPECT_EQ(line_of(report(beam), "\tBF Algorithm"), "\tBF Algorithm: VEK_FIXED_BF");
  }
}

TEST(Report, AnAlgorithmOutOfRangeIsReportedAsTheOneThatRuns) {
  Beam beam(array_of(1, static_cast<VekBfAlgorithm>(5)));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  EXPECT_EQ(line_of(report(beam), "\tBF Algorithm"), "\tBF Algorithm: VEK_FIXED_BF");
}

TEST(Report, ReadsTheThresholdFromTheDetectorOfTheLastConfiguration) {
  Beam beam(array_of(1));
  ASSERT_EQ(beam.configure({0.25f, 1}), VEK_BF_OK);
  EXPECT_EQ(line_of(report(beam), "\tVad"), "\tVad Threshold: 0.250000");
  ASSERT_EQ(beam.configure({0.875f, 2}), VEK_BF_OK);
  EXPECT_EQ(line_of(report(beam), "\tVad"), "\tVad Threshold: 0.875000");
  EXPECT_EQ(line_of(report(beam), "\tBF Int"), "\tBF Intensity: 2");
}

TEST(Report, ChangesNothing) {
  Beam beam(array_of(4, VEK_ADAPTIVE_BF));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  const std::vector<uint8_t> before = beam.bytes();
  report(beam);
  EXPECT_EQ(beam.bytes(), before);
}

TEST(Report, OfAnInstanceThatWasNeverConfiguredHasAThresholdOfZero) {
  VekBfInit init = array_of(1);
  init.sampleRate = 0xffffffffu;
  init.geometry = static_cast<VekBfGeometry>(9);
  init.algorithm = static_cast<VekBfAlgorithm>(-3);
  init.bitWidth = INT_MIN;
  Beam beam(init);
  const std::string text = report(beam);
  EXPECT_EQ(line_of(text, "\tVad"), "\tVad Threshold: 0.000000");
  EXPECT_EQ(line_of(text, "\tSample"), "\tSample Rate: -1");
  EXPECT_EQ(line_of(text, "\tBit"), "\tBit Width: -2147483648");
  EXPECT_EQ(line_of(text, "\tMic Geometry"), "\tMic Geometry: unknown");
  EXPECT_EQ(line_of(text, "\tBF Algorithm"), "\tBF Algorithm: VEK_FIXED_BF");
}

TEST(Report, OfAZeroedBufferIsComplete) {
  Beam beam(VekBfInit{});
  const std::string text = report(beam);
  EXPECT_EQ(line_of(text, "\tMic Num"), "\tMic Num: 0");
  EXPECT_EQ(text.substr(text.size() - 73), kRule + "\n");
}

TEST(Report, ListsAtMostFourMicrophonesWhateverTheirNumber) {
  for (int32_t mics : {5, 9, INT_MAX, -1, INT_MIN}) {
    Beam beam(array_of(mics));
    const std::string text = report(beam);
    EXPECT_EQ(line_of(text, "\tMic Num"), mic_num_line(mics));
    EXPECT_EQ(std::count(text.begin(), text.end(), '['), mics < 0 ? 0 : 4);
  }
}

// The longest line there is: every number has its sign, 39 digits and 4 decimals.
TEST(Report, PrintsTheLargestCoordinatesInFull) {
  VekBfInit init = array_of(4);
  for (auto& pair : init.micCoordinate) pair[0] = pair[1] = -FLT_MAX;
  Beam beam(init);
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  const std::string number = "-340282346638528859811704183484516925440.0000";
  std::string line = "\n\t";
  for (int m = 0; m < 4; ++m)
    line.append("[").append(number).append(", ").append(number).append("] ");
  line.append("\n\tRun Mode");
  EXPECT_NE(report(beam).find(line), std::string::npos);
}

TEST(Report, PrintsCoordinatesThatAreNotNumbers) {
  VekBfInit init = array_of(2);
  init.micCoordinate[0][0] = std::numeric_limits<float>::quiet_NaN();
  init.micCoordinate[0][1] = std::numeric_limits<float>::infinity();
  init.micCoordinate[1][0] = -std::numeric_limits<float>::infinity();
  init.micCoordinate[1][1] = -0.0f;
  Beam beam(init);
  ASSERT_EQ(beam.configure({std::numeric_limits<float>::quiet_NaN(), 0}), VEK_BF_OK);
  const std::string text = report(beam);
  EXPECT_NE(text.find("\n\t[nan, inf] [-inf, -0.0000] \n"), std::string::npos) << text;
  EXPECT_EQ(line_of(text, "\tVad"), "\tVad Threshold: nan");
}

}  // namespace
}  // namespace vekbf::test
