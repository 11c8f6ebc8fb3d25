// SPDX-License-Identifier: MIT
#pragma once

#include "base/instance.h"

namespace vekbf {

// fixedBeam = 1/micNum times the sum of steering times spectrum over the microphones, in order, and
// beamPower = |fixedBeam|^2. Copies micSpectrum into savedSpectrum.
void form_fixed_beam(Instance& instance);

}  // namespace vekbf
