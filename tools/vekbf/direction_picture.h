// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "settings.h"

namespace vekbf_tool {

// Degrees over time as a drawing (SVG 1.1): strong where the direction was heard, the more so the
// higher the confidence, and thin where it was only kept.
class DirectionPicture {
 public:
  DirectionPicture(int sampleRate, const Settings& settings);
  void after_block(long long frames, const VekDirState& state);
  std::string svg(const std::string& title) const;

 private:
  // Blocks in a row that look alike.
  struct Stretch {
    long long from;  // frames
    long long to;
    int angle;
    int strength;  // 0 is kept, else by confidence
  };
  int rate_;
  int highest_;  // degrees: 180 for a line, else 360
  VekDirConfig sector_{};
  long long frames_ = 0;
  std::vector<Stretch> stretches_;
};

}  // namespace vekbf_tool
