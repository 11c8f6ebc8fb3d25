// SPDX-License-Identifier: MIT
//
// Calls that are refused, instances that were never configured, and planted faults.
#include <stdlib.h>
#include <string.h>

#include <climits>
#include <initializer_list>

#include "base/sizes.h"
#include "memory/plain.h"
#include "vek_bf.h"

namespace vekbf::plain {

namespace {

VekBfInit valid_array(VekBfAlgorithm algorithm) {
  VekBfInit init;
  memset(&init, 0, sizeof init);
  init.sampleRate = 16000;
  init.bitWidth = 16;
  init.micNum = 2;
  init.soundSpeed = 343;
  init.algorithm = algorithm;
  init.geometry = VEK_BF_UNIFORM_LINEAR_ARRAY;
  init.micCoordinate[1][0] = 0.05f;
  return init;
}

void expect_code(uint32_t wanted, const VekBfInit& init, const VekBfConfig& config) {
  void* buffer = malloc(VekBf_GetBufferSize());
  const VekBfHandle handle = VekBf_Init(buffer, &init);
  expect(VekBf_SetConfig(handle, &config) == wanted, "code of a refused configuration");
  look_at(buffer, kWorkBufferSize);
  // Never configured: refused in lines, but safe.
  int16_t in[VEK_BF_MAX_MICS * VEK_BF_BLOCK_FRAMES];
  int16_t out[VEK_BF_BLOCK_FRAMES];
  for (int16_t& x : in) x = 1;
  for (int b = 0; b < 3; ++b) {
    expect(VekBf_Run(handle, in, out, 30) == VEK_BF_OK, "block without a configuration");
    look_at(out, sizeof out);
  }
  expect(VekBf_GetConfig(handle) == VEK_BF_OK, "report without a configuration");
  look_at(buffer, kWorkBufferSize);
  expect(VekBf_Free(handle) == VEK_BF_OK, "release without a configuration");
  free(buffer);
}

void play_null_pointers() {
  int16_t block[VEK_BF_BLOCK_FRAMES] = {};
  VekBfConfig config = {0.5f, 5};
  const VekBfInit init = valid_array(VEK_FIXED_BF);
  uint32_t samples;
  void* buffer = malloc(VekBf_GetBufferSize());
  const VekBfHandle handle = VekBf_Init(buffer, &init);
  expect(VekBf_Init(nullptr, &init) == nullptr, "no buffer");
  expect(VekBf_Init(buffer, nullptr) == nullptr, "no record");
  expect(VekBf_SetConfig(nullptr, &config) == VEK_BF_ERR_NULL_HANDLE, "SetConfig, no handle");
  expect(VekBf_SetConfig(handle, nullptr) == VEK_BF_ERR_NULL_HANDLE, "SetConfig, no record");
  expect(VekBf_GetConfig(nullptr) == VEK_BF_OK, "GetConfig, no handle");
  expect(VekBf_GetInputSamples(nullptr, &samples) == VEK_BF_ERR_NULL_HANDLE, "no handle");
  expect(VekBf_GetInputSamples(handle, nullptr) == VEK_BF_ERR_NULL_HANDLE, "no result");
  expect(VekBf_Run(nullptr, block, block, 0) == VEK_BF_ERR_NULL_HANDLE, "Run, no handle");
  expect(VekBf_Run(handle, nullptr, block, 0) == VEK_BF_ERR_NULL_HANDLE, "Run, no input");
  expect(VekBf_Run(handle, block, nullptr, 0) == VEK_BF_ERR_NULL_HANDLE, "Run, no output");
  expect(VekBf_Free(nullptr) == VEK_BF_ERR_NULL_HANDLE, "Free, no handle");
  expect(VekBf_GetLibVersion() == 57, "length of the banner");
  free(buffer);
}

}  // namespace

void play_refusals() {
  play_null_pointers();
  const VekBfConfig good = {0.5f, 5};
  for (const VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    const VekBfInit valid = valid_array(algorithm);
    VekBfInit init = valid;
    init.sampleRate = 7999;
    expect_code(VEK_BF_ERR_SAMPLE_RATE, init, good);
    init = valid;
    init.bitWidth = 24;
    expect_code(VEK_BF_ERR_BIT_WIDTH, init, good);
    init = valid;
    init.soundSpeed = 0;
    expect_code(VEK_BF_ERR_SOUND_SPEED, init, good);
    for (const int32_t mics : {5, INT_MAX}) {
      init = valid;
      init.micNum = mics;
      expect_code(VEK_BF_ERR_MIC_NUM, init, good);
    }
    init = valid;
    init.geometry = static_cast<VekBfGeometry>(4);
    expect_code(VEK_BF_ERR_GEOMETRY, init, good);
    expect_code(VEK_BF_ERR_VAD_THRESHOLD, valid, {1.5f, 5});
    expect_code(VEK_BF_ERR_INTENSITY, valid, {0.5f, 11});
  }
}

bool plant(const char* where) {
  const bool unwritten_input = strcmp(where, "input") == 0;
  const bool short_output = strcmp(where, "output") == 0;
  if (!unwritten_input && !short_output) return false;

  constexpr size_t kInputBytes = 2 * VEK_BF_BLOCK_FRAMES * sizeof(int16_t);
  constexpr size_t kOutputBytes = VEK_BF_BLOCK_FRAMES * sizeof(int16_t);
  auto* in = static_cast<int16_t*>(malloc(kInputBytes));
  auto* out = static_cast<int16_t*>(malloc(short_output ? kOutputBytes - 2 : kOutputBytes));
  void* buffer = malloc(VekBf_GetBufferSize());
  if (!unwritten_input) memset(in, 1, kInputBytes);

  const VekBfInit init = valid_array(VEK_ADAPTIVE_BF);
  const VekBfConfig config = {0.5f, 5};
  const VekBfHandle handle = VekBf_Init(buffer, &init);
  VekBf_SetConfig(handle, &config);
  for (int b = 0; b < 3; ++b) VekBf_Run(handle, in, out, 60);
  VekBf_Free(handle);
  free(buffer);
  free(out);
  free(in);
  return true;
}

}  // namespace vekbf::plain
