// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "vek_bf.h"

namespace vekbf_tool {

// The plan of an array and how the library reads its coordinates, as text of at most 80 columns.
std::string describe_geometry(const VekBfInit& array, int angle);

}  // namespace vekbf_tool
