// SPDX-License-Identifier: MIT
#pragma once

#include "base/instance.h"

namespace vekbf {

// Prints the configuration, as bare lines. Safe for any instance, configured or not.
void print_report(const Instance& instance);

}  // namespace vekbf
