// SPDX-License-Identifier: MIT
//
// Arrays, positions and geometries as text.
#pragma once

#include "stream/text.h"
#include "stream/values.h"

namespace vekbf::stream {

// "line:4:35mm", "square:64mm". False if the text is not a shape.
bool parse_shape(Text text, Values& values);

// "0.05,0" in metres, spaces around the numbers allowed. False if the text is not a position.
bool parse_position(Text text, float position[2]);

// "linear", "triangle", "rectangle" or "circular".
bool parse_geometry(Text text, VekBfGeometry& geometry);
const char* geometry_word(VekBfGeometry geometry);

}  // namespace vekbf::stream
