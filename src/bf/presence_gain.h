// SPDX-License-Identifier: MIT
#pragma once

#include "base/spectrum.h"

namespace vekbf {

// Smooths the speech-presence probability of bins 1 to 255 over time, with the forgetting factor
// `keep`, then over neighbouring bins, into `gain`.
void smooth_presence_gain(BinValues& gain, const float* probability, float keep);

}  // namespace vekbf
