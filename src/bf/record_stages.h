// SPDX-License-Identifier: MIT
//
// Stages of the frames on the record: each names the fields that it hands to the stage.
#pragma once

#include "base/instance.h"
#include "base/spectrum.h"

namespace vekbf {

void form_fixed_beam(Instance& instance);
void delay_and_sum(Instance& instance, Spectrum& beam);
void smooth_presence_gain(Instance& instance, const float* probability);
void cancel_sidelobes(Instance& instance);
void synthesise(Instance& instance, const Spectrum& spectrum);

}  // namespace vekbf
