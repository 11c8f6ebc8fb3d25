// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace vekbf_tool {

// Whether the header of a WAV file (RIFF, RF64 or RIFX) promises more audio than the file holds.
// libsndfile reads such a file without a word. False for what is no WAV file, or cannot be looked
// at without being used up, such as a pipe.
bool is_cut_off(const std::string& path);

}  // namespace vekbf_tool
