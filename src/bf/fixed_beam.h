// SPDX-License-Identifier: MIT
#pragma once

#include "base/spectrum.h"
#include "base/target.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

// beam = weight times the sum of steering times spectrum over the `rows` microphones, in order, and
// power = |beam|^2. Copies the spectra to `saved` on the way.
void form_fixed_beam(Spectrum& beam, BinValues& power, MicSpectra& saved, const MicSpectra& spectra,
                     const MicSpectra& steering, int rows, float weight);

}  // namespace VEKBF_TARGET
}  // namespace vekbf
