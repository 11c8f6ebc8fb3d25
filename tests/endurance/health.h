// SPDX-License-Identifier: MIT
//
// Whether an instance is still sound after a block.
#pragma once

#include <cstdint>

#include "base/instance.h"

namespace vekbf::test {

// The name of the first region that holds a not-a-number or an infinity, or null. Spectra, weights,
// powers, steps, gains and the detector are looked at; of the detector its gain, speechPowerRatio
// and the estimator's powerRatio are not, where quotients of nothing are expected.
const char* first_unsound_region(const Instance& instance);

// The largest part of a blocking or canceller coefficient, by magnitude.
float largest_weight(const Instance& instance);

// Kilobytes of memory that the process holds.
int64_t resident_kilobytes();

}  // namespace vekbf::test
