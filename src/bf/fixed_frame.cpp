// SPDX-License-Identifier: MIT
#include "bf/fixed_frame.h"

#include "base/spectrum.h"
#include "bf/record_stages.h"
#include "bf/steering.h"

void fixed_frame(Instance* instance) {
  vekbf::Spectrum beam;
  compute_steering(instance, instance->steerAngle);
  vekbf::delay_and_sum(*instance, beam);
  vekbf::synthesise(*instance, beam);
}
