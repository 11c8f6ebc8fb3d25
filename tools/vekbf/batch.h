// SPDX-License-Identifier: MIT
#pragma once

#include "arguments.h"

namespace vekbf_tool {

// Every input into the output folder under its own name, several at a time. All are tried; throws
// RunError in the end if one failed.
void process_batch(const Arguments& arguments, int standardOutput);

}  // namespace vekbf_tool
