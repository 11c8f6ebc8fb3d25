// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace vekbf::fft {

// Fills the weights of a window of `count` points and their squares. A type that is none leaves
// zeros, and one log line per point.
void fill_window(float* window, float* window_sq, int32_t count, int32_t type, bool symmetric);

}  // namespace vekbf::fft
