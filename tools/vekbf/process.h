// SPDX-License-Identifier: MIT
#pragma once

#include "run_setup.h"

namespace vekbf_tool {

// Reads the input, runs it through the beamformer and writes the output. Throws UsageError or
// RunError.
void process(const RunSetup& run);

}  // namespace vekbf_tool
