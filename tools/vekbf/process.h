// SPDX-License-Identifier: MIT
#pragma once

#include "arguments.h"

namespace vekbf_tool {

// Reads the input file, runs it through the library and writes the output file. Throws UsageError
// or RunError.
void process(const ProcessArguments& arguments);

}  // namespace vekbf_tool
