// SPDX-License-Identifier: MIT
//
// The functions with the hot loops, as tables: each instruction set that the library was compiled
// for has one of each kind, base/chosen_kernels.h takes that of the processor. The headers of the
// same names describe the functions.
#pragma once

#include <cstdint>

#include "base/spectrum.h"
#include "base/target.h"

struct Mcra2State;
struct RealFftPlan;
struct VadState;

namespace vekbf {

struct CancellerInput;
struct CancellerOutput;
struct CancellerRules;
struct CancellerState;

// fft/ and math/
struct DspKernels {
  bool (*windowed_forward)(Complex* out, const float* in, float* windowed, const float* window,
                           const RealFftPlan* plan);
  bool (*windowed_inverse)(float* out, const Complex* in, const float* window,
                           const RealFftPlan* plan);
  void (*add_to)(float* sums, const float* values, int32_t count);
  void (*fill_phasor_rows)(Spectrum* rows, const double* steps, int count);
};

// noise/
struct NoiseKernels {
  void (*mcra2_track)(Mcra2State& state, const float* power);
  void (*bin_likelihoods)(VadState& state, const float* power, const float* noise);
};

// bf/
struct BeamKernels {
  void (*form_fixed_beam)(Spectrum& beam, BinValues& power, MicSpectra& saved,
                          const MicSpectra& spectra, const MicSpectra& steering, int rows,
                          float weight);
  void (*delay_and_sum)(Spectrum& beam, MicSpectra& saved, const MicSpectra& spectra,
                        const MicSpectra& steering, int rows, float weight);
  void (*cancel_sidelobes)(const CancellerInput& input, const CancellerRules& rules,
                           const CancellerState& state, const CancellerOutput& output);
  void (*add_halved)(int16_t (&overlap)[kFrameSize], const Frame& frame);
};

inline namespace VEKBF_TARGET {
extern const DspKernels kDspKernels;
extern const NoiseKernels kNoiseKernels;
extern const BeamKernels kBeamKernels;
}  // namespace VEKBF_TARGET

}  // namespace vekbf
