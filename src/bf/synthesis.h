// SPDX-License-Identifier: MIT
#pragma once

#include "base/instance.h"

namespace vekbf {

// Brings a spectrum of 257 bins back to time, halves it, truncates it to integers and adds its 512
// samples into outputOverlap. Without a transform it adds silence.
void synthesise(Instance& instance, const Complex* spectrum);

}  // namespace vekbf
