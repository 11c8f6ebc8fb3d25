// SPDX-License-Identifier: MIT
#include "api/report.h"

#include <stdarg.h>
#include <stdio.h>

#include "api/banner.h"
#include "api/names.h"
#include "base/log.h"
#include "noise/vad.h"

namespace vekbf {

namespace {

constexpr const char* kRule =
    "========================================================================";

// The longest line is the one of the coordinates: "[x, y] " of the largest floats: two numbers of
// sign, 39 digits, point and 4 decimals.
constexpr int kMaxPairText = 2 * (1 + 39 + 1 + 4) + 5;
constexpr int kMaxLine = 1 + kMaxMics * kMaxPairText;

[[gnu::format(printf, 1, 2)]] void print_line(const char* format, ...) {
  char line[kMaxLine + 1];
  va_list values;
  va_start(values, format);
  vsnprintf(line, sizeof line, format, values);
  va_end(values);
  log_bare(line);
}

// Built in a buffer: the line must be printed with one call, whatever the number of microphones.
void print_coordinates(const Instance& instance) {
  char line[kMaxLine + 1];
  int length = snprintf(line, sizeof line, "\t");
  for (int m = 0; m < row_count(instance); ++m) {
    length += snprintf(line + length, sizeof line - static_cast<size_t>(length), "[%.4f, %.4f] ",
                       static_cast<double>(instance.micCoordinate[m][0]),
                       static_cast<double>(instance.micCoordinate[m][1]));
  }
  log_bare(line);
}

}  // namespace

void print_report(const Instance& instance) {
  // The threshold in force is the detector's; before a configuration there is none.
  const float threshold = instance.vadState != nullptr ? instance.vadState->threshold : 0.0f;

  log_bare(kRule);
  print_banner();
  print_line("%s Parameters:", kProductName);
  print_line("\tSample Rate: %d", static_cast<int32_t>(instance.sampleRate));
  print_line("\tBit Width: %d", instance.bitWidth);
  print_line("\tVad Threshold: %f", static_cast<double>(threshold));
  print_line("\tBF Intensity: %d", static_cast<int32_t>(instance.intensity));
  print_line("\tBF Algorithm: %s", algorithm_name(instance.algorithm));
  print_line("\tMic Num: %d", instance.micNum);
  print_line("\tMic Geometry: %s", geometry_name(instance.geometry));
  log_bare("\tMic Coordinate:");
  print_coordinates(instance);
  // The same on every machine, because hosts compare the text of the report.
  log_bare("\tRun Mode: ARM_NEON_MODE");
  log_bare(kRule);
}

}  // namespace vekbf
