// SPDX-License-Identifier: MIT
#include "math/log_rounded.h"

#include <cmath>

namespace vekbf {

float log_rounded_plain(float a) { return static_cast<float>(std::log(static_cast<double>(a))); }

}  // namespace vekbf
