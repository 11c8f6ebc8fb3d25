// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace vekbf::bench {

// Interleaved input of `blocks` blocks of 128 frames. Kinds: "speech" (a voiced source with pauses,
// in noise 15 dB below it), "loudspeech" (the same source 12 dB louder, in noise 20 dB softer),
// "noise" (independent noise at each microphone), "onebit" (silence but
// for single units), "loud" (full-scale noise). None contains a block that the library would drop
// as a zero block.
std::vector<int16_t> make_signal(std::string_view kind, int mics, int blocks, int rate = 16000);

}  // namespace vekbf::bench
