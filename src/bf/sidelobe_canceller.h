// SPDX-License-Identifier: MIT
#pragma once

#include "base/instance.h"

namespace vekbf {

// From fixedBeam, presenceGain, savedSpectrum and last frame's weights: refBeam, blockOutput,
// cancelSum, outBeam, the smoothed powers and the steps; then adapts blockWeights and
// cancelWeights.
void cancel_sidelobes(Instance& instance);

}  // namespace vekbf
