// SPDX-License-Identifier: MIT
//
// Between the caller's blocks and the frames that overlap by three quarters.
#pragma once

#include <cstdint>

#include "base/sizes.h"

namespace vekbf {

// True when the squares of the first 128 values add up to 0 modulo 2^32.
bool is_zero_block(const int16_t* in);

// Drops the oldest hop of a history of kFrameSize samples; the newest hop is then free for new
// samples.
void slide_history(float* history);

// Takes microphone `mic` out of a block of `channels` interleaved channels, as unscaled floats.
// More channels than an array may have give zeros, and `in` is not read.
void take_channel(float* samples, const int16_t* in, int mic, int32_t channels);

// Hands out the oldest, complete hop of the overlap-add accumulator and makes room for the next.
void drain_output(int16_t* out, int16_t* overlap);

}  // namespace vekbf
