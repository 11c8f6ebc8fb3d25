// SPDX-License-Identifier: MIT
#include "api/report.h"

#include <stdio.h>

#include "api/banner.h"
#include "api/names.h"
#include "base/log.h"
#include "noise/vad.h"

namespace vekbf {

namespace {

constexpr const char* kRule =
    "========================================================================";

// "[x, y] " of the largest floats: two numbers of sign, 39 digits, point and 4 decimals.
constexpr int kMaxPairText = 2 * (1 + 39 + 1 + 4) + 5;
constexpr int kMaxCoordinateLine = 1 + kMaxMics * kMaxPairText + 1;

// Built in a buffer first: the line must leave with one call whatever the number of microphones.
void print_coordinates(const Instance& instance) {
  char line[kMaxCoordinateLine + 1];
  int length = snprintf(line, sizeof line, "\t");
  for (int m = 0; m < usable_mics(instance); ++m) {
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
  printf("%s Parameters:\n", kProductName);
  printf("\tSample Rate: %d\n", static_cast<int32_t>(instance.sampleRate));
  printf("\tBit Width: %d\n", instance.bitWidth);
  printf("\tVad Threshold: %f\n", static_cast<double>(threshold));
  printf("\tBF Intensity: %d\n", static_cast<int32_t>(instance.intensity));
  printf("\tBF Algorithm: %s\n", algorithm_name(instance.algorithm));
  printf("\tMic Num: %d\n", instance.micNum);
  printf("\tMic Geometry: %s\n", geometry_name(instance.geometry));
  log_bare("\tMic Coordinate:");
  print_coordinates(instance);
  // The same on every machine, because hosts compare the text of the report.
  log_bare("\tRun Mode: ARM_NEON_MODE");
  log_bare(kRule);
}

}  // namespace vekbf
