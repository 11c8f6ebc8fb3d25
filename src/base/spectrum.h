// SPDX-License-Identifier: MIT
#pragma once

#include "base/complex.h"
#include "base/sizes.h"

namespace vekbf {

using Spectrum = Complex[kBinCount];    // bins 0 to 256 of one frame
using MicSpectra = Spectrum[kMaxMics];  // one spectrum per microphone
using BinValues = float[kBinCount];     // one value per bin
using Frame = float[kFrameSize];        // samples of one frame

}  // namespace vekbf
