// SPDX-License-Identifier: MIT
//
// The exported functions.
#include <algorithm>
#include <cstring>

#include "direction/checks.h"
#include "direction/run_block.h"
#include "simd/float_mode.h"
#include "vek_direction.h"

using vekbf::ScopedIeeeMode;
using vekbf::direction::Finder;

namespace {

using namespace vekbf::direction;

bool is_aligned(const void* buffer) {
  return reinterpret_cast<uintptr_t>(buffer) % kBufferAlignment == 0;
}

void apply(Finder& finder, const VekDirConfig& config) {
  finder.sector = sector_of(config.sectorFrom, config.sectorTo, finder.line);
  finder.holdUpdates =
      hold_updates(config.holdMs, finder.sampleRate, finder.constants.transformsPerUpdate);
  finder.focus = focus_ratio(config.focusDb);
  const int32_t best = finder.tracker.best;
  if (best >= 0 && !is_inside(finder.sector, best)) forget_direction(finder.tracker);
}

void start(Finder& finder, const VekBfInit& array) {
  finder.mics = array.micNum;
  finder.sampleRate = array.sampleRate;
  finder.line = array.geometry == VEK_BF_UNIFORM_LINEAR_ARRAY;
  finder.constants = constants_of(array.sampleRate);
  finder.groups = groups_of(array);
  fill_rows(finder.rows, finder.groups, finder.constants, array.sampleRate, array.soundSpeed);
  finder.loudest = 1.0f;
  start_signals(finder.signals);
  start_reliability(finder.reliability, finder.constants, array.sampleRate);
  start_tracker(finder.tracker, finder.line);
  apply(finder, {});
}

}  // namespace

#pragma GCC visibility push(default)

uint32_t VekDir_GetBufferSize(void) { return kBufferSize; }

uint32_t VekDir_CheckArray(const VekBfInit* array) {
  if (array == nullptr) return VEK_DIR_ERR_NULL_HANDLE;
  const ScopedIeeeMode mode;
  return first_fault(*array);
}

VekDirHandle VekDir_Init(void* buffer, const VekBfInit* array) {
  if (buffer == nullptr || array == nullptr || !is_aligned(buffer)) return nullptr;
  const ScopedIeeeMode mode;
  if (first_fault(*array) != VEK_DIR_OK) return nullptr;
  std::memset(buffer, 0, kBufferSize);
  auto* finder = static_cast<Finder*>(buffer);
  start(*finder, *array);
  return finder;
}

uint32_t VekDir_SetConfig(VekDirHandle handle, const VekDirConfig* config) {
  if (handle == nullptr || config == nullptr) return VEK_DIR_ERR_NULL_HANDLE;
  const uint32_t fault = first_fault(*config);
  if (fault != VEK_DIR_OK) return fault;
  const ScopedIeeeMode mode;
  apply(*handle, *config);
  return VEK_DIR_OK;
}

uint32_t VekDir_Run(VekDirHandle handle, const int16_t* in, VekDirState* state) {
  if (handle == nullptr || in == nullptr || state == nullptr) return VEK_DIR_ERR_NULL_HANDLE;
  const ScopedIeeeMode mode;
  *state = run_block(*handle, in);
  return VEK_DIR_OK;
}

uint32_t VekDir_Pause(VekDirHandle handle, int32_t on) {
  if (handle == nullptr) return VEK_DIR_ERR_NULL_HANDLE;
  handle->paused = on != 0;
  if (handle->paused) drop_evidence(*handle);
  return VEK_DIR_OK;
}

uint32_t VekDir_GetMap(VekDirHandle handle, float map[VEK_DIR_MAP_DEGREES]) {
  if (handle == nullptr || map == nullptr) return VEK_DIR_ERR_NULL_HANDLE;
  std::copy(handle->map, handle->map + handle->tracker.degrees, map);
  // For a line both sides are the same: mirror the degrees beyond 180.
  for (int32_t d = handle->tracker.degrees; d < kCircleDegrees; ++d) {
    map[d] = handle->map[kCircleDegrees - d];
  }
  return VEK_DIR_OK;
}

#pragma GCC visibility pop
