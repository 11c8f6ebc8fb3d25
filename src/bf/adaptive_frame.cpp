// SPDX-License-Identifier: MIT
#include "bf/adaptive_frame.h"

#include "bf/record_stages.h"
#include "bf/steering.h"
#include "noise/vad.h"

void adaptive_frame(Instance* instance) {
  compute_steering(instance, instance->steerAngle);
  vekbf::form_fixed_beam(*instance);
  // The frame's own probability is deliberately not used: the detector runs for its estimator's
  // probability per bin.
  vad_run(instance->vadState, instance->beamPower);
  const VadState* detector = instance->vadState;
  if (detector != nullptr && detector->mcra != nullptr) {
    vekbf::smooth_presence_gain(*instance, detector->mcra->speechProb);
  }
  // Without a transform there is nothing to cancel, and before a configuration the steps would be
  // divided by a regularizer of zero: the blocking coefficients, which a configuration keeps, must
  // not learn not-a-number from that.
  if (instance->fftState != nullptr) vekbf::cancel_sidelobes(*instance);
  vekbf::synthesise(*instance, instance->outBeam);
}
