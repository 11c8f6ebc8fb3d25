// SPDX-License-Identifier: MIT
#include "angle_track.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

#include "failure.h"

namespace vekbf_tool {

AngleTrack::AngleTrack(std::int32_t before, const std::string& path) : before_(before) {
  std::ifstream file(path);
  std::string line;
  for (int number = 1; std::getline(file, line); number++) {
    std::istringstream words(line.substr(0, line.find('#')));
    if ((words >> std::ws).eof()) continue;
    Turn turn{};
    const bool read = words >> turn.seconds && words >> turn.angle && (words >> std::ws).eof();
    const bool rising = turns_.empty() || turn.seconds > turns_.back().seconds;
    if (!read || !std::isfinite(turn.seconds) || !rising) {
      throw RunError("line " + std::to_string(number) + " of '" + path +
                     "' is not a time in seconds, later than the one before, and a whole angle in "
                     "degrees");
    }
    turns_.push_back(turn);
  }
  if (turns_.empty()) throw RunError("cannot read '" + path + "' as lines of time and angle");
}

std::int32_t AngleTrack::at(double seconds) const {
  const auto next = std::upper_bound(turns_.begin(), turns_.end(), seconds,
                                     [](double t, const Turn& turn) { return t < turn.seconds; });
  return next == turns_.begin() ? before_ : std::prev(next)->angle;
}

}  // namespace vekbf_tool
