// SPDX-License-Identifier: MIT
#pragma once

#include "base/spectrum.h"
#include "base/target.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

// beam = sum over the `rows` microphones, in order, of weight (steering times spectrum). Copies the
// spectra to `saved` on the way.
void delay_and_sum(Spectrum& beam, MicSpectra& saved, const MicSpectra& spectra,
                   const MicSpectra& steering, int rows, float weight);

}  // namespace VEKBF_TARGET
}  // namespace vekbf
