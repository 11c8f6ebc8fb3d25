// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "array.h"

namespace vekbf_tool {

// "line:4:35mm": microphones on the x axis, microphone 0 at the origin, the others towards +x.
// "square:64mm": four microphones at 0, 90, 180 and 270 degrees, 64 mm being the side of the
// square. A length carries its unit: mm, cm or m. Throws UsageError.
void set_shape(const std::string& text, MicArray& array);

}  // namespace vekbf_tool
