// SPDX-License-Identifier: MIT
//
// Generalised sidelobe canceller (L. J. Griffiths and C. W. Jim 1982) in the frequency domain, with
// an adaptive blocking matrix (O. Hoshuyama, A. Sugiyama and A. Hirano 1999) and NLMS adaptation in
// every bin, gated by a speech-presence probability.
#pragma once

#include "base/instance.h"

// One frame: reads micSpectrum, steers to steerAngle, advances the detector, adapts both
// coefficient sets and adds the synthesised 512 samples into outputOverlap.
void adaptive_frame(Instance* instance);
