// SPDX-License-Identifier: MIT
#pragma once

#include "base/target.h"
#include "noise/mcra2.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

// The step of the estimator for every frame but the first.
void mcra2_track(Mcra2State& state, const float* power);

}  // namespace VEKBF_TARGET
}  // namespace vekbf
