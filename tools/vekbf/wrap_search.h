// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "run_setup.h"

namespace vekbf_tool {

// The first pre-gain in steps of 3 dB below the one given, down to -24 dB, whose output does not
// wrap around; empty if there is none. Reads the input anew for each, up to the first wrap. Throws
// RunError.
std::optional<double> find_gain_without_wraps(const RunSetup& run);

}  // namespace vekbf_tool
