// SPDX-License-Identifier: MIT
#include "array_shape.h"

#include <charconv>
#include <cmath>
#include <string_view>
#include <utility>

#include "failure.h"

namespace vekbf_tool {

namespace {

constexpr double kLargest = 100.0;  // metres

// Metres; 0 for what is no length.
double parse_length(std::string_view text) {
  double number = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return 0;
  text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
  for (const auto& [unit, scale] :
       {std::pair<std::string_view, double>{"mm", 1000}, {"cm", 100}, {"m", 1}}) {
    if (text == unit) return number > 0 && number / scale <= kLargest ? number / scale : 0;
  }
  return 0;
}

// Decimal lengths become the nearest float, as --mic makes them.
Position at(double x, double y) { return {static_cast<float>(x), static_cast<float>(y)}; }

bool set_line(std::string_view text, MicArray& array) {
  const std::size_t colon = text.find(':');
  if (colon != 1 || text[0] < '1' || text[0] > '0' + VEK_BF_MAX_MICS) return false;
  const double spacing = parse_length(text.substr(2));
  for (int m = 0; m < text[0] - '0'; m++) array.mics.push_back(at(spacing * m, 0));
  return spacing > 0;
}

bool set_square(std::string_view text, MicArray& array) {
  const double radius = parse_length(text) / std::sqrt(2.0);
  array.mics = {at(radius, 0), at(0, radius), at(-radius, 0), at(0, -radius)};
  array.geometry = VEK_BF_UNIFORM_TRIANGLE_ARRAY;
  return radius > 0;
}

}  // namespace

void set_shape(const std::string& text, MicArray& array) {
  const std::string_view whole(text);
  const bool understood = whole.starts_with("line:")     ? set_line(whole.substr(5), array)
                          : whole.starts_with("square:") ? set_square(whole.substr(7), array)
                                                         : false;
  if (!understood) {
    throw UsageError(
        "--array is line:N:SPACING (1 to 4 microphones, such as line:4:35mm) or square:SIDE (such "
        "as square:64mm), not '" +
        text + "'");
  }
}

}  // namespace vekbf_tool
