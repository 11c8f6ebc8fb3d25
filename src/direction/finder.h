// SPDX-License-Identifier: MIT
//
// The record of one direction finder: all of its state, inside the caller's buffer.
#pragma once

#include <cstdint>

#include "direction/constants.h"
#include "direction/groups.h"
#include "direction/map.h"
#include "direction/phases.h"
#include "direction/reliability.h"
#include "direction/rows.h"
#include "direction/sizes.h"
#include "direction/spectra.h"
#include "direction/tracker.h"

struct VekDirInstance {
  // From VekDir_Init.
  int32_t mics;
  uint32_t sampleRate;  // Hz
  bool line;            // else a square
  vekbf::direction::Constants constants;
  vekbf::direction::Groups groups;

  // From VekDir_SetConfig and VekDir_Pause.
  vekbf::direction::Sector sector;
  int32_t holdUpdates;
  float focus;  // least level, as a share of `loudest`
  bool paused;

  // Time.
  uint64_t blocks;     // that were no zero blocks
  int32_t transforms;  // since the last update
  uint32_t age;        // blocks since evidence last agreed
  bool heard;          // whether the last update counted

  float loudest;  // loudest recent level, decaying
  vekbf::direction::Evidence evidence;
  vekbf::direction::Tracker tracker;
  float map[vekbf::direction::kCircleDegrees];

  vekbf::direction::Signals signals;
  vekbf::direction::Reliability reliability;
  vekbf::direction::Rows rows;
};

namespace vekbf::direction {

using Finder = VekDirInstance;

static_assert(sizeof(Finder) <= kBufferSize);
static_assert(alignof(Finder) <= kBufferAlignment);

}  // namespace vekbf::direction
