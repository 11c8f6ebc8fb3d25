// SPDX-License-Identifier: MIT
#pragma once

#include "base/instance.h"

namespace vekbf {

// Puts an instance into its configured state: new transform and detector, derived tables and
// constants, all signal history cleared. `config` has passed the checks.
void apply_config(Instance* instance, const VekBfConfig& config);

// True unless memory ran out in apply_config, which does not say so.
bool has_states(const Instance& instance);

// Releases what apply_config allocated. Without a transform, fft_free prints its bare line.
void release_states(Instance* instance);

}  // namespace vekbf
