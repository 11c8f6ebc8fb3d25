// SPDX-License-Identifier: MIT
#include "bf/adaptive_frame.h"

#include "bf/record_stages.h"
#include "bf/steering.h"
#include "noise/vad.h"

void adaptive_frame(Instance* instance) {
  compute_steering(instance, instance->steerAngle);
  vekbf::form_fixed_beam(*instance);
  // The frame's probability is not used: the detector runs for the probabilities per bin of its
  // estimator.
  vad_run(instance->vadState, instance->beamPower);
  const VadState* detector = instance->vadState;
  if (detector != nullptr && detector->mcra != nullptr) {
    vekbf::smooth_presence_gain(*instance, detector->mcra->speechProb);
  }
  // Without a transform the spectra are zero. Before a configuration the regularizers are zero too:
  // the step sizes would be 0/0, and the blocking coefficients, which a configuration keeps, would
  // become not-a-number.
  if (instance->fftState != nullptr) vekbf::cancel_sidelobes(*instance);
  vekbf::synthesise(*instance, instance->outBeam);
}
