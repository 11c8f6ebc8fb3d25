// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "base/target.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace fft {

// Fills the weights of a window of `count` points and their squares. A type that is none leaves
// zeros, and one log line per point.
void fill_window(float* window, float* window_sq, int32_t count, int32_t type, bool symmetric);

}  // namespace fft
}  // namespace VEKBF_TARGET
}  // namespace vekbf
