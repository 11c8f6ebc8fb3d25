// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace vekbf {

inline constexpr const char* kProductName = "BF";

// Prints the version banner, a bare line. Returns the number of characters printed, newline
// included. The banner names the version of the algorithm, which is older than that of the package:
// hosts compare the line, so it stays as it is while the samples do.
int32_t print_banner();

}  // namespace vekbf
