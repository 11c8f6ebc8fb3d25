// SPDX-License-Identifier: MIT
#pragma once

#include "base/instance.h"

namespace vekbf {

// Smooths the speech-presence probability of bins 1 to 255 over time, then over neighbouring bins,
// into presenceGain.
void smooth_presence_gain(Instance& instance, const float* speechProb);

}  // namespace vekbf
