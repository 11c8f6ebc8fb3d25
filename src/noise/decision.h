// SPDX-License-Identifier: MIT
//
// Onset delay and hangover: speech begins with the third frame in a row above the threshold and
// ends with the fifth in a row that is not.
#pragma once

#include "noise/vad.h"

namespace vekbf {

// `above`: the frame's probability of speech exceeds the threshold.
void update_decision(VadState& state, bool above);

}  // namespace vekbf
