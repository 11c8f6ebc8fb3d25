// SPDX-License-Identifier: MIT
#include "reference/trigonometry.h"

#include <cmath>

namespace reference {

double cosine(double phase) { return std::cos(phase); }
double sine(double phase) { return std::sin(phase); }

}  // namespace reference
