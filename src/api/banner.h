// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace vekbf {

inline constexpr const char* kProductName = "BF";

// Prints the version banner, a bare line. Returns the number of characters printed, newline
// included.
int32_t print_banner();

}  // namespace vekbf
