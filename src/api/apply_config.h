// SPDX-License-Identifier: MIT
#pragma once

#include "base/instance.h"

namespace vekbf {

// Puts an instance into its configured state: new transform and detector, derived tables and
// constants, all signal history cleared. `config` has passed the checks.
void apply_config(Instance* instance, const VekBfConfig& config);

// True if both states are there. False if memory ran out in apply_config, which reports nothing.
bool has_states(const Instance& instance);

// Releases what apply_config allocated. Without a transform, fft_free prints its bare line.
void release_states(Instance* instance);

}  // namespace vekbf
