// SPDX-License-Identifier: MIT
//
// The interface: what is refused, with which code, and that a refusal changes nothing.
#include <gtest/gtest.h>

#include <cfenv>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>

#include "direction/library_finder.h"
#include "support/host_float_mode.h"

namespace vekbf::test {
namespace {

VekBfInit good() { return line_array(16000, {0.0f, 0.05f, 0.1f}); }

class DirectionExports : public testing::Test {
 protected:
  std::vector<uint64_t> memory_ = std::vector<uint64_t>(VekDir_GetBufferSize() / sizeof(uint64_t));

  void expect_refused(const VekBfInit& array, uint32_t code) {
    EXPECT_EQ(VekDir_CheckArray(&array), code);
    EXPECT_EQ(VekDir_Init(memory_.data(), &array), nullptr);
  }
};

TEST_F(DirectionExports, BufferIs128Kilobytes) { EXPECT_EQ(VekDir_GetBufferSize(), 131072u); }

TEST_F(DirectionExports, HandleIsTheBuffersAddress) {
  const VekBfInit array = good();
  EXPECT_EQ(VekDir_CheckArray(&array), VEK_DIR_OK);
  EXPECT_EQ(static_cast<void*>(VekDir_Init(memory_.data(), &array)),
            static_cast<void*>(memory_.data()));
}

TEST_F(DirectionExports, NullPointersAreRefused) {
  const VekBfInit array = good();
  const VekDirHandle finder = VekDir_Init(memory_.data(), &array);
  const VekDirConfig config = {};
  VekDirState state = {};
  int16_t in[3 * VEK_BF_BLOCK_FRAMES] = {1};
  float map[VEK_DIR_MAP_DEGREES];
  EXPECT_EQ(VekDir_CheckArray(nullptr), VEK_DIR_ERR_NULL_HANDLE);
  EXPECT_EQ(VekDir_Init(nullptr, &array), nullptr);
  EXPECT_EQ(VekDir_Init(memory_.data(), nullptr), nullptr);
  EXPECT_EQ(VekDir_SetConfig(nullptr, &config), VEK_DIR_ERR_NULL_HANDLE);
  EXPECT_EQ(VekDir_SetConfig(finder, nullptr), VEK_DIR_ERR_NULL_HANDLE);
  EXPECT_EQ(VekDir_Run(nullptr, in, &state), VEK_DIR_ERR_NULL_HANDLE);
  EXPECT_EQ(VekDir_Run(finder, nullptr, &state), VEK_DIR_ERR_NULL_HANDLE);
  EXPECT_EQ(VekDir_Run(finder, in, nullptr), VEK_DIR_ERR_NULL_HANDLE);
  EXPECT_EQ(VekDir_Pause(nullptr, 1), VEK_DIR_ERR_NULL_HANDLE);
  EXPECT_EQ(VekDir_GetMap(nullptr, map), VEK_DIR_ERR_NULL_HANDLE);
  EXPECT_EQ(VekDir_GetMap(finder, nullptr), VEK_DIR_ERR_NULL_HANDLE);
}

TEST_F(DirectionExports, MisalignedBufferIsRefused) {
  const VekBfInit array = good();
  std::vector<uint64_t> more(memory_.size() + 1);
  auto* bytes = reinterpret_cast<unsigned char*>(more.data());
  for (int offset = 1; offset < 8; ++offset) {
    EXPECT_EQ(VekDir_Init(bytes + offset, &array), nullptr) << offset;
  }
  EXPECT_NE(VekDir_Init(bytes + 8, &array), nullptr);
}

TEST_F(DirectionExports, FaultsOfTheArrayHaveTheirCodes) {
  VekBfInit array = good();
  for (const uint32_t rate : {0u, 7999u, 48001u, UINT32_MAX}) {
    array.sampleRate = rate;
    expect_refused(array, VEK_DIR_ERR_SAMPLE_RATE);
  }
  array = good();
  array.bitWidth = 24;
  expect_refused(array, VEK_DIR_ERR_BIT_WIDTH);
  array = good();
  for (const int32_t speed : {0, -343, INT_MIN}) {
    array.soundSpeed = speed;
    expect_refused(array, VEK_DIR_ERR_SOUND_SPEED);
  }
  array = good();
  for (const int32_t mics : {INT_MIN, -1, 0, 1, 5, INT_MAX}) {
    array.micNum = mics;
    expect_refused(array, VEK_DIR_ERR_MIC_NUM);
  }
  array = good();
  for (const int32_t geometry : {2, 3}) {
    array.geometry = static_cast<VekBfGeometry>(geometry);
    expect_refused(array, VEK_DIR_ERR_GEOMETRY);
  }
  // The first fault counts.
  array.bitWidth = 8;
  expect_refused(array, VEK_DIR_ERR_BIT_WIDTH);
}

TEST_F(DirectionExports, PositionsThatTellNoDirectionsAreRefused) {
  const float inf = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const float x : {inf, -inf, nan}) {
    expect_refused(line_array(16000, {0.0f, 0.05f, x}), VEK_DIR_ERR_MIC_COORDINATE);
    expect_refused(square_array(16000, 4, x), VEK_DIR_ERR_MIC_COORDINATE);
  }
  // All in one place, or nearly; millimetres for metres.
  expect_refused(line_array(16000, {0.2f, 0.2f, 0.2f}), VEK_DIR_ERR_MIC_COORDINATE);
  expect_refused(line_array(16000, {0.0f, 0.0009f}), VEK_DIR_ERR_MIC_COORDINATE);
  expect_refused(square_array(16000, 4, 0.0f), VEK_DIR_ERR_MIC_COORDINATE);
  expect_refused(line_array(16000, {0.0f, 50.0f}), VEK_DIR_ERR_MIC_COORDINATE);
  expect_refused(line_array(16000, {0.0f, 3e38f}), VEK_DIR_ERR_MIC_COORDINATE);
  expect_refused(square_array(16000, 4, 3e38f), VEK_DIR_ERR_MIC_COORDINATE);
  VekBfInit array = good();
  array.soundSpeed = INT_MAX;
  expect_refused(array, VEK_DIR_ERR_MIC_COORDINATE);
  // What is not read may be anything.
  array = line_array(16000, {0.0f, 0.05f});
  array.micCoordinate[0][1] = array.micCoordinate[2][0] = array.micCoordinate[3][1] = nan;
  EXPECT_EQ(VekDir_CheckArray(&array), VEK_DIR_OK);
  array = square_array(16000, 4, -0.05f);
  array.micCoordinate[0][1] = array.micCoordinate[1][0] = array.micCoordinate[3][1] = nan;
  EXPECT_EQ(VekDir_CheckArray(&array), VEK_DIR_OK);
  array.algorithm = static_cast<VekBfAlgorithm>(1);
  EXPECT_EQ(VekDir_CheckArray(&array), VEK_DIR_OK);
}

TEST_F(DirectionExports, EdgesOfTheSettings) {
  const VekBfInit array = good();
  const VekDirHandle finder = VekDir_Init(memory_.data(), &array);
  const std::vector<uint64_t> before = memory_;
  VekDirConfig config = {0, 0, VEK_DIR_MAX_HOLD_MS + 1, 0};
  EXPECT_EQ(VekDir_SetConfig(finder, &config), VEK_DIR_ERR_HOLD);
  config = {10, 20, 5, VEK_DIR_MAX_FOCUS_DB + 1};
  EXPECT_EQ(VekDir_SetConfig(finder, &config), VEK_DIR_ERR_FOCUS);
  config = {10, 20, UINT32_MAX, UINT32_MAX};
  EXPECT_EQ(VekDir_SetConfig(finder, &config), VEK_DIR_ERR_HOLD);
  EXPECT_EQ(memory_, before) << "a refusal changed something";
  config = {INT_MIN, INT_MAX, VEK_DIR_MAX_HOLD_MS, VEK_DIR_MAX_FOCUS_DB};
  EXPECT_EQ(VekDir_SetConfig(finder, &config), VEK_DIR_OK);
  config = {};
  EXPECT_EQ(VekDir_SetConfig(finder, &config), VEK_DIR_OK);
  EXPECT_EQ(memory_, before) << "all zero are the defaults";
}

// Whole turns do not matter.
TEST_F(DirectionExports, SectorIsTakenModulo360) {
  const VekBfInit array = square_array(16000, 4, 0.05f);
  const VekDirHandle finder = VekDir_Init(memory_.data(), &array);
  VekDirConfig config = {350, 20, 0, 0};
  EXPECT_EQ(VekDir_SetConfig(finder, &config), VEK_DIR_OK);
  const std::vector<uint64_t> expected = memory_;
  for (const int turns : {-3, -1, 1, 7}) {
    config = {350 + 360 * turns, 20 - 360 * turns, 0, 0};
    EXPECT_EQ(VekDir_SetConfig(finder, &config), VEK_DIR_OK);
    EXPECT_EQ(memory_, expected) << turns;
  }
}

TEST_F(DirectionExports, MapIsZeroBeforeTheFirstUpdate) {
  const VekBfInit array = good();
  const VekDirHandle finder = VekDir_Init(memory_.data(), &array);
  float map[VEK_DIR_MAP_DEGREES];
  std::fill(std::begin(map), std::end(map), 7.0f);
  EXPECT_EQ(VekDir_GetMap(finder, map), VEK_DIR_OK);
  for (const float value : map) EXPECT_EQ(value, 0.0f);
}

// Whatever floating-point mode the host has set for itself.
TEST_F(DirectionExports, HostsFloatModeChangesNothingAndStaysTheHosts) {
  const DirectionScene scene = direction_scenes()[1];
  LibraryFinder plain;
  const DirectionDigest expected = digest_of(scene, plain);
  EXPECT_GT(expected.angles, 1);
  for (const int rounding : {FE_TONEAREST, FE_TOWARDZERO, FE_UPWARD, FE_DOWNWARD}) {
    for (const bool flushing : {false, true}) {
      const HostFloatMode mode(rounding, flushing);
      LibraryFinder finder;
      const DirectionDigest digest = digest_of(scene, finder);
      EXPECT_EQ(digest.states, expected.states) << rounding << flushing;
      EXPECT_EQ(digest.maps, expected.maps) << rounding << flushing;
      EXPECT_TRUE(mode.is_unchanged());
    }
  }
}

}  // namespace
}  // namespace vekbf::test
