// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>
#include <cstdint>

namespace vekbf_tool {

// Full-scale-1.0 samples to the library's 16 bits: times 32768 and the gain, rounded to the nearest
// whole number (halves to the even one), clipped; not-a-number becomes 0. A 16-bit sample keeps its
// value: full scale is a power of two.
class Conversion {
 public:
  explicit Conversion(double gainDecibels)
      : scale_(32768.0 * std::pow(10.0, gainDecibels / 20.0)) {}
  std::int16_t operator()(double sample) {
    const double value = std::nearbyint(sample * scale_);
    if (std::isnan(value)) return 0;
    if (value >= -32768.0 && value <= 32767.0) return static_cast<std::int16_t>(value);
    clipped_++;
    return value < 0 ? INT16_MIN : INT16_MAX;
  }
  long long clipped() const { return clipped_; }

 private:
  double scale_;
  long long clipped_ = 0;
};

}  // namespace vekbf_tool
