// SPDX-License-Identifier: MIT
//
// Streams that make the small numbers: arrays a hair apart, channels that cancel each other, pulses
// whose spectra have exact zeros, the loudest next to the softest. Everything follows from a seed.
#pragma once

#include <cstdint>
#include <vector>

#include "support/random.h"
#include "support/signals.h"
#include "vek_bf.h"

namespace vekbf::test {

class SmallStream {
 public:
  explicit SmallStream(uint64_t seed);

  const VekBfInit& init() const { return init_; }
  const VekBfConfig& config() const { return config_; }
  const std::vector<int16_t>& block();
  int32_t angle() const { return angle_; }

 private:
  enum class Shape { kSignal, kPulses, kSquare };
  void begin_episode();
  void fill_mono(int16_t* out);

  Random random_;
  VekBfInit init_{};
  VekBfConfig config_{};
  std::vector<int16_t> block_;
  Signal signal_{SignalKind::kNoise, 0, 1};
  Shape shape_ = Shape::kSignal;
  bool cancelling_ = false;  // the channels are copies that add up to nothing
  int left_ = 0;             // blocks of the episode
  int place_ = 0;            // of the pulse in its block
  int period_ = 2;           // of the square wave
  int level_ = 1;
  int32_t angle_ = 90;
  int32_t turn_ = 0;
};

}  // namespace vekbf::test
