// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vekbf_tool {

// Angles over time. A block takes the angle that holds at its first frame.
class AngleTrack {
 public:
  // The same angle all the time.
  explicit AngleTrack(std::int32_t angle) : before_(angle) {}
  // Lines "SECONDS DEGREES" with rising times; # starts a comment; `before` holds until the first.
  // Throws RunError.
  AngleTrack(std::int32_t before, const std::string& path);
  std::int32_t at(double seconds) const;

 private:
  struct Turn {
    double seconds;
    std::int32_t angle;
  };
  std::int32_t before_;
  std::vector<Turn> turns_;
};

}  // namespace vekbf_tool
