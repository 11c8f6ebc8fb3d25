// SPDX-License-Identifier: MIT
#include "bf/steering.h"

#include <cmath>

#include "base/log.h"
#include "math/phasor_row.h"

namespace vekbf {

namespace {

inline constexpr double kRadiansPerDegree = 0.017453292519943295;
inline constexpr double kRadiansPerBin = 0.01227184630308513;  // 2 pi / 512
// Deliberate: the radius of a circle, and only that, is shortened by one part in 10^15. It keeps
// the delays of devices in the field, whose last bits depend on it.
inline constexpr double kRadiusFactor = 0.999999999999999;

// Delays are often exact multiples of each other: on a line of equal spacing one microphone has
// twice the delay of another, on a circle opposite microphones may have opposite delays.
void fill_rows(Instance& instance, double omega) {
  double steps[kMaxMics];
  for (int m = 0; m < usable_mics(instance); ++m) {
    Complex* row = instance.steerTable[m];
    steps[m] = static_cast<double>(instance.micDelay[m]) * omega;
    row[0] = {1.0f, -0.0f};  // no phase; -0 is what the other bins give for no delay
    int first = 1;
    for (int other = 0; other < m && first == 1; ++other) {
      first = derive_phasor_row(row, steps[m], instance.steerTable[other], steps[other]);
    }
    if (first < kBinCount) fill_phasor_row(row, steps[m], first);
  }
}

// Microphones on the x axis: the delay is x cos(theta) / c, x counted from microphone 0.
void steer_line(Instance& instance, double theta, double omega) {
  const double cosine = std::cos(theta);
  const float slowness = 1.0f / static_cast<float>(instance.soundSpeed);
  for (int m = 0; m < usable_mics(instance); ++m) {
    const double projection = static_cast<double>(instance.micPlacement[m]) * cosine;
    instance.micProjection[m] = static_cast<float>(projection);
    instance.micDelay[m] = instance.micProjection[m] * slowness;
  }
  fill_rows(instance, omega);
}

// Microphones on a circle at the angles of micPlacement: the delay is r cos(theta - angle) / c.
void steer_circle(Instance& instance, double theta, double omega) {
  const double seconds = (static_cast<double>(instance.arrayRadius) * kRadiusFactor) /
                         static_cast<double>(instance.soundSpeed);
  for (int m = 0; m < usable_mics(instance); ++m) {
    const float angle = static_cast<float>(theta - static_cast<double>(instance.micPlacement[m]));
    instance.micProjection[m] = static_cast<float>(std::cos(static_cast<double>(angle)));
    instance.micDelay[m] =
        static_cast<float>(seconds * static_cast<double>(instance.micProjection[m]));
  }
  fill_rows(instance, omega);
}

}  // namespace

}  // namespace vekbf

void compute_steering(Instance* instance, int32_t angle) {
  const double theta = static_cast<double>(angle) * vekbf::kRadiansPerDegree;
  const double omega = static_cast<double>(instance->sampleRate) * vekbf::kRadiansPerBin;
  switch (instance->geometry) {
    case VEK_BF_UNIFORM_LINEAR_ARRAY:
      vekbf::steer_line(*instance, theta, omega);
      break;
    case VEK_BF_UNIFORM_TRIANGLE_ARRAY:
      vekbf::steer_circle(*instance, theta, omega);
      break;
    default:
      // Deliberately bare and in every frame: a configuration accepts these shapes, so what runs
      // is an array without a beam.
      vekbf::log_bare("Invalid microphone array geometry!");
  }
}
