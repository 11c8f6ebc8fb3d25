// SPDX-License-Identifier: MIT
#include "base/kernels.h"

#include "base/target.h"
#include "noise/likelihood.h"
#include "noise/mcra2_track.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

const NoiseKernels kNoiseKernels = {
    .mcra2_track = vekbf::mcra2_track,
    .bin_likelihoods = kDetectorState ? vekbf::bin_likelihoods : nullptr,
};

}  // namespace VEKBF_TARGET
}  // namespace vekbf
