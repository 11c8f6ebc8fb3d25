// SPDX-License-Identifier: MIT
#include "bf/presence_gain.h"

namespace vekbf {

// In ascending order and, deliberately, in place: the lower neighbour is this frame's value, the
// upper one the last frame's, so that presence spreads upwards faster than downwards. Bins 0 and
// 256 have only one neighbour and stay as they are.
void smooth_presence_gain(Instance& instance, const float* speechProb) {
  float* gain = instance.presenceGain;
  const float keep = instance.beamPowerSmoothing;
  const float take = 1.0f - keep;
  for (int k = 1; k < kBinCount - 1; ++k) {
    const float smoothed = take * speechProb[k] + keep * gain[k];
    const double neighbours = static_cast<double>(gain[k - 1]) + static_cast<double>(gain[k + 1]);
    gain[k] = static_cast<float>(0.5 * static_cast<double>(smoothed) + 0.25 * neighbours);
  }
}

}  // namespace vekbf
