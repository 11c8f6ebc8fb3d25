// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace vekbf_tool {

// Sound that moves by more than half the range from one sample to the next is rare; a sum that left
// the range and came in at the other end always does.
class WrapCount {
 public:
  // The next samples of a signal; returns how many wraps there were so far.
  long long count(const std::int16_t* samples, std::size_t size) {
    for (std::size_t i = 0; i < size; i++) {
      if (std::abs(samples[i] - previous_) > 32768) total_++;
      previous_ = samples[i];
    }
    return total_;
  }
  long long total() const { return total_; }

 private:
  int previous_ = 0;
  long long total_ = 0;
};

}  // namespace vekbf_tool
