// SPDX-License-Identifier: MIT
//
// The array as a person writes it.
#pragma once

#include "stream/text.h"
#include "stream/values.h"

namespace vekbf::stream {

// "line:4:35mm", "square:64mm". False for what is no shape.
bool parse_shape(Text text, Values& values);

// "0.05,0" in metres, spaces around the numbers allowed. False for what is no position.
bool parse_position(Text text, float position[2]);

// "linear", "triangle", "rectangle" or "circular".
bool parse_geometry(Text text, VekBfGeometry& geometry);
const char* geometry_word(VekBfGeometry geometry);

}  // namespace vekbf::stream
