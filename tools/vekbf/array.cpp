// SPDX-License-Identifier: MIT
#include "array.h"

#include <charconv>
#include <cmath>
#include <string_view>

#include "failure.h"
#include "text.h"

namespace vekbf_tool {

namespace {

constexpr float kTolerance = 0.001f;  // metres: closer than anybody places a microphone

bool parse_metres(std::string_view text, float* value) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, *value);
  return error == std::errc() && stop == end && std::isfinite(*value);
}

std::string shown(const Position& p) {
  std::string text(1, '(');
  return text.append(plain_number(p.x)).append(", ").append(plain_number(p.y)).append(")");
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
  if (array.geometry != VEK_BF_UNIFORM_LINEAR_ARRAY &&
      array.geometry != VEK_BF_UNIFORM_TRIANGLE_ARRAY) {
    throw UsageError(
        "the library has no steering for a rectangle or a circle and would give silence: use "
        "--geometry "
        "triangle for microphones at 0, 90, 180 and 270 degrees on a circle");
  }
  if (array.soundSpeed < 1) {
    throw UsageError("--sound-speed is at least 1 metre per second, not " +
                     std::to_string(array.soundSpeed));
  }
}

std::string array_note(const MicArray& array) {
  const bool linear = array.geometry == VEK_BF_UNIFORM_LINEAR_ARRAY;
  const float radius = std::fabs(array.mics[0].x);
  for (std::size_t m = 0; m < array.mics.size(); m++) {
    const Position& given = array.mics[m];
    // A line that lies parallel to the x axis is steered the same as one that lies on it.
    const Position used = linear ? Position{given.x, array.mics[0].y} : on_circle(m, radius);
    if (std::fabs(given.x - used.x) > kTolerance || std::fabs(given.y - used.y) > kTolerance) {
      return "note: the " + std::string(linear ? "linear" : "triangle") +
             " geometry takes microphone " + std::to_string(m) + " to be at " + shown(used) +
             " instead of " + shown(given);
    }
  }
  return "";
}

}  // namespace vekbf_tool
