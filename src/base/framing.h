// SPDX-License-Identifier: MIT
//
// Framing: blocks of 128 new samples in, frames of 512 that overlap by three quarters, and back.
#pragma once

#include <cstdint>

#include "base/sizes.h"

namespace vekbf {

// True when the squares of the first 128 values add up to 0 modulo 2^32.
bool is_zero_block(const int16_t* in);

// Drops the oldest hop of each channel's history and appends the channel's samples of an
// interleaved block, as unscaled floats. With more channels than an array may have, the first
// kMaxMics histories get zeros and `in` is not read.
void take_block(float (*histories)[kFrameSize], const int16_t* in, int32_t channels);

// Copies the oldest hop of the overlap-add accumulator, which is complete, to `out`, and shifts the
// accumulator by a hop.
void drain_output(int16_t* out, int16_t* overlap);

}  // namespace vekbf
