// SPDX-License-Identifier: MIT
//
// Libraries that a user might take instead, where their packages are installed. All work through
// the same speech in steps of 80 ms, in which each has a whole number of its frames.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "timing.h"

namespace vekbf::bench {

inline constexpr int kStepMilliseconds = 80;

// Interleaved samples, from which one step after the other is taken in frames of `frame` samples of
// each channel; after the last comes the first.
template <typename Sample>
class Frames {
 public:
  Frames(std::vector<Sample> samples, int channels, int frame, int rate)
      : samples_(std::move(samples)),
        frame_(static_cast<size_t>(channels * frame)),
        step_(static_cast<size_t>(channels * (rate * kStepMilliseconds / 1000))) {}

  template <typename Run>
  void step(Run run) {
    const size_t end = at_ + step_;
    for (; at_ < end; at_ += frame_) run(&samples_[at_]);
    if (at_ == samples_.size()) at_ = 0;
  }

 private:
  std::vector<Sample> samples_;
  size_t frame_;
  size_t step_;
  size_t at_ = 0;
};

// A step of the library's beamformer over interleaved samples of four microphones, 35 mm apart on a
// line, aimed at kBenchAngle. It takes floats of one channel after the other: that order is made
// beforehand.
Call webrtc_beam(const std::vector<int16_t>& in, int rate);

// A step of the preprocessor, with what it does by default (noise suppression), over one channel in
// frames of 20 ms.
Call speexdsp_preprocessor(const std::vector<int16_t>& in, int rate);

}  // namespace vekbf::bench
