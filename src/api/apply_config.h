// SPDX-License-Identifier: MIT
#pragma once

#include "base/instance.h"

namespace vekbf {

// Puts an instance into its configured state: new transform and detector, derived tables and
// constants, all signal history cleared. `config` has passed the checks.
void apply_config(Instance* instance, const VekBfConfig& config);

// Releases what apply_config allocated. Without a transform, fft_free prints its bare line.
void release_states(Instance* instance);

}  // namespace vekbf
