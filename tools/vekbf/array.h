// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "vek_bf.h"

namespace vekbf_tool {

// Metres.
struct Position {
  float x;
  float y;
};

bool is_line(const VekBfInit& array);
bool has_steering(const VekBfInit& array);

// In channel order.
std::vector<Position> given_positions(const VekBfInit& array);

// Where the library takes the microphones to be: a line that lies parallel to the x axis is steered
// as one that lies on it. Without steering they stay where they are.
std::vector<Position> library_positions(const VekBfInit& array);

// Difference below which two positions count as the same.
bool same_place(const Position& a, const Position& b);

std::string shown(const Position& position);

// What the library makes of the coordinates where that differs from what was given; empty if it
// does not.
std::string array_note(const VekBfInit& array);

}  // namespace vekbf_tool
