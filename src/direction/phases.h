// SPDX-License-Identifier: MIT
//
// Phase differences of the pairs in the bins that count, gathered as the coefficients of a Fourier
// series in the angle: the steered response of C. H. Knapp and G. C. Carter's phase transform
// (1976), for all directions at once.
//
// Late reverberation comes from everywhere alike: two microphones hear it with the coherence
// sin(kappa) / kappa (E. A. P. Habets and S. Gannot, "Generating sensor signals in isotropic noise
// fields", JASA 122 (2007) 3464-3470), which pulls every phase difference towards that of sound
// from broadside. So its share is subtracted first.
#pragma once

#include "base/spectrum.h"
#include "direction/groups.h"
#include "direction/map.h"
#include "direction/reliability.h"
#include "direction/rows.h"

namespace vekbf::direction {

// What an update rests on, gathered over its transforms.
struct Evidence {
  float activity;  // sum of the weights
  float level;     // sum of weight times power
  Harmonics harmonics[kMaxAccumulators];
};

// `power` and `late`, the late reverberation, are of the same transform as the spectra.
void gather_phases(Evidence& evidence, const Spectrum* spectra, int mics, const float* power,
                   const float* late, const ReliableBins& reliable, const Groups& groups,
                   const Rows& rows, int firstBin);

}  // namespace vekbf::direction
