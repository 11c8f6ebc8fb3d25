// SPDX-License-Identifier: MIT
#include "array.h"

#include <cmath>

#include "text.h"

namespace vekbf_tool {

namespace {

constexpr float kTolerance = 0.001f;  // metres

// Where VEK_BF_UNIFORM_TRIANGLE_ARRAY puts microphone `index`, whatever its coordinates say.
Position on_circle(std::size_t index, float radius) {
  switch (index) {
    case 0:
      return {radius, 0};
    case 1:
      return {0, radius};
    case 2:
      return {-radius, 0};
    default:
      return {0, -radius};
  }
}

}  // namespace

bool is_line(const VekBfInit& array) { return array.geometry == VEK_BF_UNIFORM_LINEAR_ARRAY; }

bool has_steering(const VekBfInit& array) {
  return is_line(array) || array.geometry == VEK_BF_UNIFORM_TRIANGLE_ARRAY;
}

std::vector<Position> given_positions(const VekBfInit& array) {
  std::vector<Position> positions;
  for (int m = 0; m < array.micNum; m++) {
    positions.push_back({array.micCoordinate[m][0], array.micCoordinate[m][1]});
  }
  return positions;
}

std::vector<Position> library_positions(const VekBfInit& array) {
  std::vector<Position> used = given_positions(array);
  if (!has_steering(array)) return used;
  const float radius = std::fabs(used[0].x);
  const float y = used[0].y;
  for (std::size_t m = 0; m < used.size(); m++) {
    used[m] = is_line(array) ? Position{used[m].x, y} : on_circle(m, radius);
  }
  return used;
}

bool same_place(const Position& a, const Position& b) {
  return std::fabs(a.x - b.x) <= kTolerance && std::fabs(a.y - b.y) <= kTolerance;
}

std::string shown(const Position& position) {
  std::string text(1, '(');
  return text.append(plain_number(position.x))
      .append(", ")
      .append(plain_number(position.y))
      .append(")");
}

std::string array_note(const VekBfInit& array) {
  if (!has_steering(array)) {
    return "note: the library has no steering for a rectangle or a circle; the fixed beamformer "
           "gives silence";
  }
  const std::vector<Position> given = given_positions(array);
  const std::vector<Position> used = library_positions(array);
  for (std::size_t m = 0; m < used.size(); m++) {
    if (!same_place(given[m], used[m])) {
      return "note: the " + std::string(is_line(array) ? "linear" : "triangle") +
             " geometry takes microphone " + std::to_string(m) + " to be at " + shown(used[m]) +
             " instead of " + shown(given[m]);
    }
  }
  return "";
}

}  // namespace vekbf_tool
