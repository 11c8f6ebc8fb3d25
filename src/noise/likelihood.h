// SPDX-License-Identifier: MIT
//
// The per-bin half of the detector: signal-to-noise ratios, log-likelihood ratio, spectral gain.
#pragma once

#include "base/target.h"
#include "noise/vad.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

// Takes the power and the noise of each bin; writes every per-bin array of the state and the mean
// of the log-likelihood ratios.
void bin_likelihoods(VadState& state, const float* power, const float* noise);

}  // namespace VEKBF_TARGET
}  // namespace vekbf
