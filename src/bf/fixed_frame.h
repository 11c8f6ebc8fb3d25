// SPDX-License-Identifier: MIT
//
// Delay-and-sum beamformer in the frequency domain.
#pragma once

#include "base/instance.h"

// One frame: steers to steerAngle, sums the aligned micSpectrum rows with weight 1/micNum and adds
// the synthesised 512 samples into outputOverlap. Also copies micSpectrum into savedSpectrum.
void fixed_frame(Instance* instance);
