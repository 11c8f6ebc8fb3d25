// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace vekbf_tool {

// Whether the header of a WAV file (RIFF, RF64 or RIFX) promises more audio than the file holds.
// libsndfile reads such a file without a word. False for what is no WAV file, or cannot be looked
// at without being used up, such as a pipe.
bool is_cut_off(const std::string& path);

// Whether this is no length of audio in bytes but what recorders that write to a pipe, who cannot
// know the length, leave in its place: the largest number that they can think of, more or less a
// header. The audio then ends where the file does.
bool is_unknown_length(std::uint64_t bytes);

}  // namespace vekbf_tool
