// SPDX-License-Identifier: MIT
#include "array.h"

#include <charconv>
#include <cmath>
#include <string_view>

#include "failure.h"
#include "text.h"

namespace vekbf_tool {

namespace {

constexpr float kTolerance = 0.001f;  // metres

bool parse_metres(std::string_view text, float* value) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, *value);
  return error == std::errc() && stop == end && std::isfinite(*value);
}

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

Position parse_position(const std::string& text) {
  const std::string_view whole(text);
  const std::size_t comma = whole.find(',');
  Position position{};
  if (comma == std::string_view::npos || !parse_metres(whole.substr(0, comma), &position.x) ||
      !parse_metres(whole.substr(comma + 1), &position.y)) {
    throw UsageError("--mic takes two coordinates in metres, x,y (such as 0.05,0), not '" + text +
                     "'");
  }
  return position;
}

VekBfGeometry parse_geometry(const std::string& name) {
  if (name == "linear") return VEK_BF_UNIFORM_LINEAR_ARRAY;
  if (name == "triangle") return VEK_BF_UNIFORM_TRIANGLE_ARRAY;
  if (name == "rectangle") return VEK_BF_UNIFORM_RECTANGLE_ARRAY;
  if (name == "circular") return VEK_BF_UNIFORM_CIRCULAR_ARRAY;
  throw UsageError("--geometry is linear or triangle, not '" + name + "'");
}

void check_array(const MicArray& array) {
  if (array.mics.empty()) {
    throw UsageError("give --array, or --mic x,y once per microphone, in channel order");
  }
  if (array.mics.size() > VEK_BF_MAX_MICS) {
    throw UsageError("an array has at most " + std::to_string(VEK_BF_MAX_MICS) +
                     " microphones, not " + std::to_string(array.mics.size()));
  }
  if (!array.hasSteering() && !array.force) {
    throw UsageError(
        "the library has no steering for a rectangle or a circle and would give silence: use "
        "--geometry triangle for microphones at 0, 90, 180 and 270 degrees on a circle, or "
        "--geometry linear for those of one side; --force takes it all the same");
  }
  if (array.soundSpeed < 1) {
    throw UsageError("--sound-speed is at least 1 metre per second, not " +
                     std::to_string(array.soundSpeed));
  }
}

std::vector<Position> library_positions(const MicArray& array) {
  std::vector<Position> used = array.mics;
  if (!array.hasSteering()) return used;
  const float radius = std::fabs(array.mics[0].x);
  for (std::size_t m = 0; m < used.size(); m++) {
    used[m] = array.isLine() ? Position{used[m].x, array.mics[0].y} : on_circle(m, radius);
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

std::string array_note(const MicArray& array) {
  if (!array.hasSteering()) {
    return "note: the library has no steering for a rectangle or a circle; the fixed beamformer "
           "gives silence";
  }
  const std::vector<Position> used = library_positions(array);
  for (std::size_t m = 0; m < used.size(); m++) {
    if (!same_place(array.mics[m], used[m])) {
      return "note: the " + std::string(array.isLine() ? "linear" : "triangle") +
             " geometry takes microphone " + std::to_string(m) + " to be at " + shown(used[m]) +
             " instead of " + shown(array.mics[m]);
    }
  }
  return "";
}

}  // namespace vekbf_tool
