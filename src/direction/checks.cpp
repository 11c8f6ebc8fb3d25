// SPDX-License-Identifier: MIT
#include "direction/checks.h"

#include <cmath>

#include "base/sizes.h"
#include "direction/constants.h"
#include "direction/groups.h"
#include "direction/rows.h"

namespace vekbf::direction {

namespace {

constexpr uint32_t kLowestRate = 8000;
constexpr uint32_t kHighestRate = 48000;
constexpr int32_t kSampleBits = 16;
constexpr int32_t kFewestMics = 2;

// Whether the coordinates that are read are numbers: x of each microphone of a line, and of the
// first one of a square.
bool are_finite(const VekBfInit& array) {
  const int read = array.geometry == VEK_BF_UNIFORM_LINEAR_ARRAY ? array.micNum : 1;
  for (int m = 0; m < read; ++m) {
    if (!std::isfinite(array.micCoordinate[m][0])) return false;
  }
  return true;
}

}  // namespace

uint32_t first_fault(const VekBfInit& array) {
  if (array.sampleRate < kLowestRate || array.sampleRate > kHighestRate) {
    return VEK_DIR_ERR_SAMPLE_RATE;
  }
  if (array.bitWidth != kSampleBits) return VEK_DIR_ERR_BIT_WIDTH;
  if (array.soundSpeed < 1) return VEK_DIR_ERR_SOUND_SPEED;
  if (array.micNum < kFewestMics || array.micNum > kMaxMics) return VEK_DIR_ERR_MIC_NUM;
  if (array.geometry != VEK_BF_UNIFORM_LINEAR_ARRAY &&
      array.geometry != VEK_BF_UNIFORM_TRIANGLE_ARRAY) {
    return VEK_DIR_ERR_GEOMETRY;
  }
  if (!are_finite(array)) return VEK_DIR_ERR_MIC_COORDINATE;
  const Groups groups = groups_of(array);
  const Constants constants = constants_of(array.sampleRate);
  if (!has_rows(groups, constants, array.sampleRate, array.soundSpeed)) {
    return VEK_DIR_ERR_MIC_COORDINATE;
  }
  return VEK_DIR_OK;
}

uint32_t first_fault(const VekDirConfig& config) {
  if (config.holdMs > VEK_DIR_MAX_HOLD_MS) return VEK_DIR_ERR_HOLD;
  if (config.focusDb > VEK_DIR_MAX_FOCUS_DB) return VEK_DIR_ERR_FOCUS;
  return VEK_DIR_OK;
}

}  // namespace vekbf::direction
