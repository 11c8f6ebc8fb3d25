// SPDX-License-Identifier: MIT
//
// Turns the beams that run on this machine.
#pragma once

#include <optional>
#include <string>

namespace vekbf_tool {

struct TurnSetup {
  std::optional<int> degrees;  // none: as the beam's settings say, where its talker is
  std::string angleFile;       // of an ALSA definition; empty: whatever runs here
};

// The angle file of the documents' ALSA definition.
inline constexpr const char* kAngleFile = "/run/vekbf/angle";

// Says on standard output what was turned. Throws RunError where nothing was.
void turn(const TurnSetup& setup);

}  // namespace vekbf_tool
