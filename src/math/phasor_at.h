// SPDX-License-Identifier: MIT
#pragma once

#include "base/complex.h"

namespace vekbf {

// (cos phi, -sin phi) of any float, rounded once from values good to double precision; not-a-number
// for what is not finite. The same floats on every machine, whatever its C library gives.
Complex phasor_at(float phi);

}  // namespace vekbf
