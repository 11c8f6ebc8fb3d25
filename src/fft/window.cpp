// SPDX-License-Identifier: MIT
#include "fft/window.h"

#include <cmath>

#include "base/log.h"
#include "math/cosine.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace fft {

namespace {

constexpr double kTwoPi = 6.283185307179586;

enum WindowType : int32_t { kPowerHann = 0, kHamming = 1, kHann = 2, kRectangular = 3 };

// bit-exact contract: always symmetric, with both ends at zero, unlike the other two. The division
// comes before the product here and after it below; the last bits depend on that.
double power_hann(int32_t i, int32_t count) {
  const double step = kTwoPi / static_cast<double>(count - 1);
  return std::pow((1.0 - cosine(step * i)) * 0.5, 0.85);
}

double hamming(int32_t i, double denominator) {
  return 0.54 - cosine((i * kTwoPi) / denominator) * 0.46;
}

double hann(int32_t i, double denominator) {
  return (1.0 - cosine((i * kTwoPi) / denominator)) * 0.5;
}

}  // namespace

void fill_window(float* window, float* window_sq, int32_t count, int32_t type, bool symmetric) {
  for (int32_t i = 0; i < count; ++i) {
    const double denominator = symmetric ? count - 1 : count;
    double w = 0.0;
    switch (type) {
      case kPowerHann:
        w = power_hann(i, count);
        break;
      case kHamming:
        w = hamming(i, denominator);
        break;
      case kHann:
        w = hann(i, denominator);
        break;
      case kRectangular:
        w = 1.0;
        break;
      default:
        // One line per point and no failure: the state is usable and gives silence.
        log_line(Severity::kError, "fft_init", "Error window type");
        break;
    }
    window[i] = static_cast<float>(w);
    window_sq[i] = window[i] * window[i];
  }
}

}  // namespace fft
}  // namespace VEKBF_TARGET
}  // namespace vekbf
