// SPDX-License-Identifier: MIT
//
// Steering vectors of a far-field plane wave: double precision up to the phase and the values of
// cosine and sine, all stored in single precision.
#include <cstdint>

#include "reference/mics.h"
#include "reference/model.h"
#include "reference/trigonometry.h"

namespace reference {

namespace {

constexpr double kRadiansPerDegree = 0.017453292519943295;
constexpr double kBinPhaseStep = 0.01227184630308513;
constexpr double kRadiusFactor = 0.999999999999999;

void fill_row(Complex* row, float delay, double omega) {
  const double phase_per_bin = static_cast<double>(delay) * omega;
  row[0] = {1.0f, -0.0f};
  for (int k = 1; k < vekbf::kBinCount; ++k) {
    const float phase = static_cast<float>(static_cast<double>(k) * phase_per_bin);
    row[k].re = static_cast<float>(cosine(static_cast<double>(phase)));
    row[k].im = -static_cast<float>(sine(static_cast<double>(phase)));
  }
}

}  // namespace

void compute_steering(Instance* instance, int32_t angle) {
  const int mics = rows(*instance);
  const double omega = static_cast<double>(instance->sampleRate) * kBinPhaseStep;
  const double theta = static_cast<double>(angle) * kRadiansPerDegree;

  if (instance->geometry == VEK_BF_UNIFORM_LINEAR_ARRAY) {
    const double cos_theta = cosine(theta);
    const float inverse_speed = 1.0f / static_cast<float>(instance->soundSpeed);
    for (int m = 0; m < mics; ++m) {
      const double placement = instance->micPlacement[m];
      instance->micProjection[m] = static_cast<float>(placement * cos_theta);
      instance->micDelay[m] = instance->micProjection[m] * inverse_speed;
      fill_row(instance->steerTable[m], instance->micDelay[m], omega);
    }
  } else if (instance->geometry == VEK_BF_UNIFORM_TRIANGLE_ARRAY) {
    const double radius = static_cast<double>(instance->arrayRadius) * kRadiusFactor;
    const double radius_delay = radius / static_cast<double>(instance->soundSpeed);
    for (int m = 0; m < mics; ++m) {
      const float between =
          static_cast<float>(theta - static_cast<double>(instance->micPlacement[m]));
      instance->micProjection[m] = static_cast<float>(cosine(static_cast<double>(between)));
      instance->micDelay[m] =
          static_cast<float>(radius_delay * static_cast<double>(instance->micProjection[m]));
      fill_row(instance->steerTable[m], instance->micDelay[m], omega);
    }
  }
}

}  // namespace reference
