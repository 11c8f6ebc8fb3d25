// SPDX-License-Identifier: MIT
//
// Which of the compiled instruction sets computes: the widest that the processor and its operating
// system offer, asked for at each call (one load and one test), so that there is no state of the
// library to set up or to guard. All give the same bits.
#pragma once

#include "base/kernels.h"
#include "base/target.h"

namespace vekbf {

#if defined(VEKBF_AVX2)

namespace on_avx2 {
extern const DspKernels kDspKernels;
extern const NoiseKernels kNoiseKernels;
extern const BeamKernels kBeamKernels;
}  // namespace on_avx2

// True if the kernels for AVX2 are to be used. The only function of its object file, so that tests
// can put another one in its place.
bool use_avx2();

inline const DspKernels& dsp_kernels() {
  return use_avx2() ? on_avx2::kDspKernels : VEKBF_TARGET::kDspKernels;
}
inline const NoiseKernels& noise_kernels() {
  return use_avx2() ? on_avx2::kNoiseKernels : VEKBF_TARGET::kNoiseKernels;
}
inline const BeamKernels& beam_kernels() {
  return use_avx2() ? on_avx2::kBeamKernels : VEKBF_TARGET::kBeamKernels;
}

#else

inline const DspKernels& dsp_kernels() { return kDspKernels; }
inline const NoiseKernels& noise_kernels() { return kNoiseKernels; }
inline const BeamKernels& beam_kernels() { return kBeamKernels; }

#endif

}  // namespace vekbf
