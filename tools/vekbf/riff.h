// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace vekbf_tool {

// Whether the header of a WAV file (RIFF, RF64 or RIFX) promises more audio than the file holds.
// libsndfile reads such a file without an error. False if it is not a WAV file, or cannot be read
// twice, such as a pipe.
bool is_cut_off(const std::string& path);

// True for the placeholder sizes (about 2^31 or 2^32) that recorders write when they stream to a
// pipe and never learn the length. The audio then ends where the file does.
bool is_unknown_length(std::uint64_t bytes);

}  // namespace vekbf_tool
