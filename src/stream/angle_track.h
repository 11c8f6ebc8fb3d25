// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

#include "stream/message.h"

namespace vekbf::stream {

struct Turn {
  double seconds;
  int32_t angle;  // degrees
};

// Angles over time, by rising times. A plain record: whoever owns it calls release.
struct AngleTrack {
  Turn* turns;
  size_t count;
};

// Reads lines "SECONDS DEGREES"; # starts a comment. False after a fault, which `message` tells;
// `track` is then empty.
bool read_track(const char* path, AngleTrack& track, Message& message);
// False if memory is out.
bool copy_track(const AngleTrack& from, AngleTrack& to);
void release(AngleTrack& track);

// The angle at a time that never falls from call to call. `next` counts the turns that have
// passed; it begins with 0. `before` holds until the first turn.
int32_t angle_at(const AngleTrack& track, size_t& next, double seconds, int32_t before);

}  // namespace vekbf::stream
