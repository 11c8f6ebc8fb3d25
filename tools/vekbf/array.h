// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vek_bf.h"

namespace vekbf_tool {

// Metres; microphones in channel order.
struct Position {
  float x;
  float y;
};

struct MicArray {
  std::vector<Position> mics;
  VekBfGeometry geometry = VEK_BF_UNIFORM_LINEAR_ARRAY;
  std::int32_t soundSpeed = 343;  // metres per second
};

// "0.05,0" as a position. Throws UsageError.
Position parse_position(const std::string& text);

// "linear", "triangle", "rectangle" or "circular". Throws UsageError.
VekBfGeometry parse_geometry(const std::string& name);

// Refuses what the library cannot steer. Throws UsageError.
void check_array(const MicArray& array);

// What the library makes of the coordinates where that differs from what was given; empty if it
// does not.
std::string array_note(const MicArray& array);

}  // namespace vekbf_tool
