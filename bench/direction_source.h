// SPDX-License-Identifier: MIT
//
// Arrays and blocks for the direction finder's costs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/random.h"
#include "vek_direction.h"

namespace vekbf::bench {

inline constexpr const char* kDirectionArrays = "line2 line3 line4 unequal4 dear4 square";
bool direction_array(const std::string& name, uint32_t rate, VekBfInit& array);

// One block after the other, without an end: "speech" (the source of make_signal: a voice with
// pauses in noise), "bursts" (loud noise after silence, again and again, so that every bin counts),
// "rising" (noise that grows with every block), or a file.
inline constexpr const char* kDirectionSignals = "speech bursts rising";
class DirectionSource {
 public:
  DirectionSource(const std::string& kind, int mics);
  const int16_t* next();

 private:
  std::string kind_;
  int mics_;
  test::Random random_{1};
  std::vector<int16_t> stored_;  // of a signal that is made, or read, at once
  size_t position_ = 0;
  std::vector<int16_t> block_;
  int blocks_ = 0;
};

}  // namespace vekbf::bench
