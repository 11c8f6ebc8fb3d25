// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "arguments.h"

namespace vekbf_tool {

// The plan of an array and what the library makes of it, for reading; lines of at most 80 columns.
std::string describe_geometry(const Arguments& arguments);

}  // namespace vekbf_tool
