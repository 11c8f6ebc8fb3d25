// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>

#include "stream.h"
#include "vek_bf.h"
#include "wraps.h"

namespace vekbf_tool {

using OutputBlock = std::array<std::int16_t, VEK_BF_BLOCK_FRAMES>;

// Lets the output lag the input no longer: drops what comes out before the first input sample, and
// ends where the input ends.
class AlignedOutput {
 public:
  explicit AlignedOutput(Sink& sink) : sink_(sink) {}
  // `frames` of input have been read so far; never does more than that go out.
  void put(const OutputBlock& samples, long long frames) {
    const std::size_t skipped = std::min(lag_, samples.size());
    lag_ -= skipped;
    const auto room = static_cast<std::size_t>(frames - written_);
    const std::size_t kept = std::min(room, samples.size() - skipped);
    written_ += static_cast<long long>(kept);
    if (kept == 0) return;
    wraps_.count(samples.data() + skipped, kept);
    sink_.write(samples.data() + skipped, kept);
  }
  long long wraps() const { return wraps_.total(); }

 private:
  Sink& sink_;
  WrapCount wraps_;
  long long written_ = 0;
  std::size_t lag_ = VEK_BF_LAG_SAMPLES;
};

}  // namespace vekbf_tool
