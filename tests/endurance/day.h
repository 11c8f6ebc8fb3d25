// SPDX-License-Identifier: MIT
//
// A day in the life of a device: people who talk and pause, nothing for minutes, the loudest noise
// there is, and steering that never rests. Made of integers, the same on every machine.
#pragma once

#include <cstdint>

#include "support/random.h"
#include "support/signals.h"

namespace vekbf::test {

class Day {
 public:
  Day(uint64_t seed, int channels) : random_(seed), channels_(channels) {}

  // The next block, and the angle to steer to.
  void block(int16_t* out);
  int32_t angle() const { return angle_; }

 private:
  void begin_episode();

  Random random_;
  int channels_;
  Signal signal_{SignalKind::kNoise, 0, 1};
  int left_ = 0;  // blocks of the episode
  int32_t angle_ = 0;
  int32_t turn_ = 1;  // degrees per block
};

}  // namespace vekbf::test
