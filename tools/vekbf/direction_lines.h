// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

#include "vek_stream.h"

namespace vekbf_tool {

// Directions over time as lines "SECONDS DEGREES  # confidence C", which --angle-track reads, or as
// lines of JSON. The time is that of the first block that the angle steers, rounded down to
// microseconds: a track of all changes steers every block as angle = auto does.
class DirectionLines {
 public:
  using Write = std::function<void(const std::string&)>;
  // A line whenever the angle changes or, where `every` (seconds) is not 0, at each multiple of it.
  DirectionLines(int sampleRate, double every, bool json, Write write)
      : rate_(sampleRate), every_(every), json_(json), write_(std::move(write)) {}
  void after_block(long long frames, const VekDirState& state);
  bool any() const { return angle_ >= 0; }

 private:
  bool is_due(long long frames, const VekDirState& state);
  int rate_;
  double every_;
  bool json_;
  Write write_;
  int angle_ = -1;
  long long steps_ = 0;  // multiples of `every` that have passed
};

}  // namespace vekbf_tool
