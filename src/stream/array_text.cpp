// SPDX-License-Identifier: MIT
#include "stream/array_text.h"

#include <cmath>

namespace vekbf::stream {

namespace {

constexpr double kLongest = 100.0;  // metres

constexpr const char* kGeometryWords[] = {"linear", "triangle", "rectangle", "circular"};

// A length in metres; 0 if the text is not a length.
double parse_length(Text text) {
  constexpr struct {
    const char* name;
    double perMetre;
  } kUnits[] = {{"mm", 1000}, {"cm", 100}, {"m", 1}};
  const size_t digits = number_length(text);
  double number = 0;
  if (!parse_number(first_of(text, digits), number)) return 0;
  for (const auto& unit : kUnits) {
    const double metres = number / unit.perMetre;
    if (equal(without_first(text, digits), unit.name)) {
      return metres > 0 && metres <= kLongest ? metres : 0;
    }
  }
  return 0;
}

void place(Values& values, int32_t mic, double x, double y) {
  values.mic[mic][0] = static_cast<float>(x);
  values.mic[mic][1] = static_cast<float>(y);
}

bool parse_line(Text text, Values& values) {
  if (find(text, ':') != 1 || text.begin[0] < '1' || text.begin[0] > '0' + kMaxMics) return false;
  const double spacing = parse_length(without_first(text, 2));
  values.micCount = text.begin[0] - '0';
  for (int32_t m = 0; m < values.micCount; m++) place(values, m, spacing * m, 0);
  values.shapeGeometry = VEK_BF_UNIFORM_LINEAR_ARRAY;
  return spacing > 0;
}

bool parse_square(Text text, Values& values) {
  const double radius = parse_length(text) / std::sqrt(2.0);
  values.micCount = 4;
  place(values, 0, radius, 0);
  place(values, 1, 0, radius);
  place(values, 2, -radius, 0);
  place(values, 3, 0, -radius);
  values.shapeGeometry = VEK_BF_UNIFORM_TRIANGLE_ARRAY;
  return radius > 0;
}

}  // namespace

bool parse_shape(Text text, Values& values) {
  if (starts_with(text, "line:")) return parse_line(without_first(text, 5), values);
  if (starts_with(text, "square:")) return parse_square(without_first(text, 7), values);
  return false;
}

bool parse_position(Text text, float position[2]) {
  const size_t comma = find(text, ',');
  return comma < text.size && parse_number(trimmed(first_of(text, comma)), position[0]) &&
         parse_number(trimmed(without_first(text, comma + 1)), position[1]);
}

bool parse_geometry(Text text, VekBfGeometry& geometry) {
  for (int32_t g = 0; g < 4; g++) {
    if (!equal(text, kGeometryWords[g])) continue;
    geometry = static_cast<VekBfGeometry>(g);
    return true;
  }
  return false;
}

const char* geometry_word(VekBfGeometry geometry) { return kGeometryWords[geometry]; }

}  // namespace vekbf::stream
