// SPDX-License-Identifier: MIT
#pragma once

#include "run_setup.h"

namespace vekbf_tool {

// The settings that listening has in common with a beam: the array and what the direction finder
// reads. Throws UsageError where the finder does not take the array.
Settings listening(const Settings& all);

// Writes the directions of the talker on standard output, as they are found. Throws RunError.
void track(const TrackSetup& setup);

}  // namespace vekbf_tool
