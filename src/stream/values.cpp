// SPDX-License-Identifier: MIT
#include "stream/values.h"

#include <stdlib.h>

namespace vekbf::stream {

Values default_values() {
  Values values{};
  values.geometry = VEK_BF_UNIFORM_LINEAR_ARRAY;
  values.soundSpeed = 343;
  values.algorithm = VEK_FIXED_BF;
  values.intensity = 3;
  values.vadThreshold = 0.5;
  values.angle = 90;
  values.hold = 0.13;
  values.focus = 15;
  values.keepTime = true;
  return values;
}

bool copy_values(const Values& from, Values& to) {
  to = from;
  bool copied = copy_track(from.track, to.track);
  for (int key = 0; key < kKeyCount; key++) {
    if (from.text[key] == nullptr) continue;
    to.text[key] = copy_text(text_of(from.text[key]));
    copied = copied && to.text[key] != nullptr;
  }
  if (!copied) release(to);
  return copied;
}

void release(Values& values) {
  for (char*& text : values.text) {
    free(text);
    text = nullptr;
  }
  release(values.track);
}

VekBfGeometry geometry_of(const Values& values) {
  return values.fromShape ? values.shapeGeometry : values.geometry;
}

Picks picks_of(const Values& values) {
  if (values.pickCount > 0) return {values.pickCount, values.picks};
  return {values.arrayPickCount, values.arrayPicks};
}

}  // namespace vekbf::stream
