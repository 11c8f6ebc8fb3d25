// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "vek_bf.h"

namespace vekbf_tool {

// An array seen from above in characters, x to the right and y up, within a ring of angle marks. A
// character is taken to be twice as high as wide.
struct Plan {
  std::string picture;         // lines of less than 80 columns
  double metresPerColumn = 0;  // 0 where all microphones are in one place
  bool shared = false;         // # stands where several microphones come to lie
  bool looks = false;          // * stands in the look direction
};

Plan draw_plan(const VekBfInit& array, int angle);

}  // namespace vekbf_tool
