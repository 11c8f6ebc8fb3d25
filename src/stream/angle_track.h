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

// Turns in the order of their times. A plain record: its owner calls release.
struct AngleTrack {
  Turn* turns;
  size_t count;
};

// Reads lines "SECONDS DEGREES"; # starts a comment. False after a fault, which `message` tells;
// `track` is then empty.
bool read_track(const char* path, AngleTrack& track, Message& message);
// False if out of memory.
bool copy_track(const AngleTrack& from, AngleTrack& to);
void release(AngleTrack& track);

// The angle at a time, which must not fall from call to call. `next` is the caller's cursor: the
// number of turns that have passed, 0 at the start. `before` is the angle until the first turn.
int32_t angle_at(const AngleTrack& track, size_t& next, double seconds, int32_t before);

}  // namespace vekbf::stream
