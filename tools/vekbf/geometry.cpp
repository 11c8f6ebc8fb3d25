// SPDX-License-Identifier: MIT
#include "geometry.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <vector>

#include "array.h"
#include "plan.h"
#include "text.h"

namespace vekbf_tool {

namespace {

std::string length(double metres) {
  char text[32];
  std::snprintf(text, sizeof text, metres < 1 ? "%.3g mm" : "%.3g m",
                metres < 1 ? 1000 * metres : metres);
  return text;
}

std::string legend(const VekBfInit& array, int angle, const Plan& plan, bool moved) {
  std::string text = "x to the right, y up, angles in degrees from +x towards +y.\n";
  if (plan.metresPerColumn > 0) {
    text += "One column is " + length(plan.metresPerColumn) + ", one line twice that.\n";
  }
  if (plan.looks) {
    text += "*  look direction, " + counted(angle, "degree");
    text += is_line(array) ? "; a line hears both alike\n" : "\n";
  }
  if (plan.shared) text += "#  several microphones in one place, or too close to draw\n";
  if (moved) text += "x  a microphone on the command line; the library takes it to be elsewhere\n";
  return text;
}

std::string reading(const VekBfInit& array, bool looks) {
  if (is_line(array)) {
    return std::string("A line: the library reads x only. Microphone 0 is the reference.\n") +
           (looks ? "Front and back sound alike: (60) is heard as 60.\n" : "");
  }
  if (has_steering(array)) {
    return "A triangle: the library puts microphones 0 to 3 at 0, 90, 180 and 270 degrees on\n"
           "a circle around (0, 0), which is + and the reference. Its radius is |x| of\n"
           "microphone 0, " +
           length(std::fabs(array.micCoordinate[0][0])) + "; no other coordinate is read.\n";
  }
  return "The library has no steering for a rectangle or a circle: the fixed beamformer\n"
         "gives silence. Drawn as on the command line.\n";
}

// Seconds by which sound from the look direction reaches each microphone before the reference: what
// the library takes out.
std::vector<double> leads(const VekBfInit& array, int degrees, const std::vector<Position>& used) {
  const double angle = degrees * std::numbers::pi / 180;
  const Position origin = is_line(array) ? used[0] : Position{0, 0};
  std::vector<double> seconds;
  for (const Position& p : used) {
    const double x = static_cast<double>(p.x) - origin.x;
    const double y = static_cast<double>(p.y) - origin.y;
    seconds.push_back((x * std::cos(angle) + y * std::sin(angle)) / array.soundSpeed);
  }
  return seconds;
}

std::string arrival(double seconds) {
  // Rounded to a tenth of a nanosecond, so that the cosine of 90 degrees gives 0.
  const double micros = std::round(seconds * 1e10) / 1e4;
  if (micros == 0) return "with the reference";
  return plain_number(std::fabs(micros)) + " us " + (micros > 0 ? "earlier" : "later");
}

std::string table(const VekBfInit& array, int angle, const std::vector<Position>& used) {
  const std::vector<double> early = leads(array, angle, used);
  const bool steers = has_steering(array);
  char row[160];
  std::snprintf(row, sizeof row, "%-12s%-30s%s", "microphone", "at (x, y) in metres",
                steers ? "hears the look direction" : "");
  std::string text = row;
  for (std::size_t m = 0; m < used.size(); m++) {
    std::snprintf(row, sizeof row, "\n%-12zu%-30s%s", m, shown(used[m]).c_str(),
                  steers ? arrival(early[m]).c_str() : "");
    text.erase(text.find_last_not_of(' ') + 1);
    text += row;
  }
  text.erase(text.find_last_not_of(' ') + 1);
  return text + "\n";
}

std::string given_elsewhere(const VekBfInit& array, const std::vector<Position>& used) {
  const std::vector<Position> given = given_positions(array);
  std::string text;
  for (std::size_t m = 0; m < used.size(); m++) {
    if (same_place(given[m], used[m])) continue;
    text +=
        "Microphone " + std::to_string(m) + " is at " + shown(given[m]) + " on the command line.\n";
  }
  return text;
}

// The widest gap between neighbours: along the line, or along the circle.
double widest_gap(const VekBfInit& array, std::vector<Position> used) {
  if (is_line(array)) {
    std::sort(used.begin(), used.end(),
              [](const Position& a, const Position& b) { return a.x < b.x; });
  }
  double gap = 0;
  for (std::size_t m = 1; m < used.size(); m++) {
    gap = std::max(gap, std::hypot(static_cast<double>(used[m].x) - used[m - 1].x,
                                   static_cast<double>(used[m].y) - used[m - 1].y));
  }
  return gap;
}

std::string limits(const VekBfInit& array, const std::vector<Position>& used, bool looks) {
  if (!has_steering(array)) return "";
  if (!looks) return "All microphones are in one place: every direction sounds alike.\n";
  const double gap = widest_gap(array, used);
  char text[120];
  std::snprintf(text, sizeof text,
                "Neighbours are less than half a wavelength apart below %.4g Hz.\n",
                array.soundSpeed / (2 * gap));
  return text;
}

}  // namespace

std::string describe_geometry(const VekBfInit& array, int angle) {
  const std::vector<Position> used = library_positions(array);
  const Plan plan = draw_plan(array, angle);
  const std::string elsewhere = given_elsewhere(array, used);
  return plan.picture + "\n" + legend(array, angle, plan, !elsewhere.empty()) + "\n" +
         reading(array, plan.looks) + limits(array, used, plan.looks) + "\n" +
         table(array, angle, used) + elsewhere;
}

}  // namespace vekbf_tool
