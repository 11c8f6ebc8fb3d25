// SPDX-License-Identifier: MIT
//
// Pairs of microphones, gathered by displacement: pairs of one displacement see the same phase, so
// their products are added up before they are steered.
#pragma once

#include <cstdint>

#include "direction/sizes.h"
#include "vek_bf.h"

namespace vekbf::direction {

struct MicPair {
  uint8_t ahead;  // its spectrum times the conjugate of the other one's
  uint8_t behind;
};

struct Group {
  double distance;  // metres
  int32_t pairCount;
  MicPair pairs[kMaxGroupPairs];
  int32_t rowSet;       // which rows of the table steer it
  int32_t accumulator;  // where its harmonics are gathered
};

struct Groups {
  int32_t count;
  int32_t rowSetCount;
  double rowDistances[kMaxGroups];  // metres, per row set
  Group groups[kMaxGroups];
};

// Positions of the accumulators of a square: pairs across 135, 0, 45 and 90 degrees.
enum SquareGroup { kAcross135, kAcross0, kAcross45, kAcross90 };

// The groups of a line or a square; without pairs if no two microphones are apart.
Groups groups_of(const VekBfInit& array);

}  // namespace vekbf::direction
