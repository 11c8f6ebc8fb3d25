// SPDX-License-Identifier: MIT
#pragma once

#include "arguments.h"

namespace vekbf_tool {

// Reads the input, runs it through the library and writes the output; raw output goes to the
// descriptor `standardOutput`. Throws UsageError or RunError.
void process(const Arguments& arguments, int standardOutput);

}  // namespace vekbf_tool
