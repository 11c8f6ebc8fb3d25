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
  bool force = false;             // also what the library cannot steer
  bool isLine() const { return geometry == VEK_BF_UNIFORM_LINEAR_ARRAY; }
  bool hasSteering() const { return isLine() || geometry == VEK_BF_UNIFORM_TRIANGLE_ARRAY; }
};

// "0.05,0" as a position. Throws UsageError.
Position parse_position(const std::string& text);

// "linear", "triangle", "rectangle" or "circular". Throws UsageError.
VekBfGeometry parse_geometry(const std::string& name);

// Refuses what the library cannot steer, unless it is forced to. Throws UsageError.
void check_array(const MicArray& array);

// Where the library takes the microphones to be: a line that lies parallel to the x axis is steered
// as one that lies on it. Without steering nobody asks, and they stay where they are.
std::vector<Position> library_positions(const MicArray& array);

// Closer than anybody places a microphone.
bool same_place(const Position& a, const Position& b);

std::string shown(const Position& position);

// What the library makes of the coordinates where that differs from what was given; empty if it
// does not.
std::string array_note(const MicArray& array);

}  // namespace vekbf_tool
