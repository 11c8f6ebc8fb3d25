// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "base/spectrum.h"
#include "fft/fft.h"

namespace vekbf {

// Brings a spectrum back to time, halves it, truncates it to integers and adds its 512 samples to
// `overlap`. Without a transform it adds silence.
void synthesise(int16_t (&overlap)[kFrameSize], FftState* transform, const Spectrum& spectrum);

}  // namespace vekbf
