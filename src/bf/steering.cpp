// SPDX-License-Identifier: MIT
#include "bf/steering.h"

#include "base/chosen_kernels.h"
#include "base/log.h"
#include "math/cosine.h"
#include "math/phasor_at.h"

namespace vekbf {

namespace {

inline constexpr double kRadiansPerDegree = 0.017453292519943295;
inline constexpr double kRadiansPerBin = 0.01227184630308513;  // 2 pi / 512
// bit-exact contract: the radius of a circle, and only that, is shortened by one part in 10^15. It
// keeps the delays of devices in the field, whose last bits depend on it.
inline constexpr double kRadiusFactor = 0.999999999999999;

// Microphones on the x axis at `placement`, counted from microphone 0: the delay is
// x cos(theta) / c.
void delays_of_line(float* projection, float* delay, const float* placement, int rows, double theta,
                    int32_t sound_speed) {
  const double cosine_of_theta = cosine(theta);
  const float slowness = 1.0f / static_cast<float>(sound_speed);
  for (int m = 0; m < rows; ++m) {
    projection[m] = static_cast<float>(static_cast<double>(placement[m]) * cosine_of_theta);
    delay[m] = projection[m] * slowness;
  }
}

// Microphones on a circle at the angles of `placement`: the delay is r cos(theta - angle) / c.
void delays_of_circle(float* projection, float* delay, const float* placement, int rows,
                      double theta, float radius, int32_t sound_speed) {
  const double seconds =
      (static_cast<double>(radius) * kRadiusFactor) / static_cast<double>(sound_speed);
  for (int m = 0; m < rows; ++m) {
    const float angle = static_cast<float>(theta - static_cast<double>(placement[m]));
    projection[m] = phasor_at(angle).re;
    delay[m] = static_cast<float>(seconds * static_cast<double>(projection[m]));
  }
}

}  // namespace

}  // namespace vekbf

void compute_steering(Instance* instance, int32_t angle) {
  using namespace vekbf;
  Instance& i = *instance;
  const int rows = row_count(i);
  const double theta = static_cast<double>(angle) * kRadiansPerDegree;
  switch (i.geometry) {
    case VEK_BF_UNIFORM_LINEAR_ARRAY:
      delays_of_line(i.micProjection, i.micDelay, i.micPlacement, rows, theta, i.soundSpeed);
      break;
    case VEK_BF_UNIFORM_TRIANGLE_ARRAY:
      delays_of_circle(i.micProjection, i.micDelay, i.micPlacement, rows, theta, i.arrayRadius,
                       i.soundSpeed);
      break;
    default:
      // A configuration accepts these shapes; the beam is then silent. The line is bare and comes
      // with every frame: part of the interface.
      log_bare("Invalid microphone array geometry!");
      return;
  }
  const double omega = static_cast<double>(i.sampleRate) * kRadiansPerBin;
  double steps[kMaxMics];
  for (int m = 0; m < rows; ++m) steps[m] = static_cast<double>(i.micDelay[m]) * omega;
  dsp_kernels().fill_phasor_rows(i.steerTable, steps, rows);
}
