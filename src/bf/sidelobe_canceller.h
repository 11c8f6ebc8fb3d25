// SPDX-License-Identifier: MIT
//
// The adaptive part of the frame: blocking matrix, canceller, and their adaptation by normalised
// least mean squares (NLMS), bin by bin.
#pragma once

#include "base/spectrum.h"
#include "base/target.h"

namespace vekbf {

struct CancellerInput {
  const MicSpectra& spectra;  // one row per microphone
  int rows;
  const Spectrum& beam;         // of the fixed beamformer
  const BinValues& beam_power;  // |beam|^2
  const BinValues& presence_gain;
};

// How a step size follows from a power.
struct StepRule {
  float keep;  // forgetting factor of the smoothed power
  float size;
  float regularizer;  // added to the smoothed power before the division
};

struct CancellerRules {
  float threshold;  // presence gain from which on the reference is not attenuated
  bool first;       // true for the first block after a configuration: the powers have no past
  StepRule block;
  StepRule cancel;
};

// Kept from frame to frame; rows as in the input.
struct CancellerState {
  MicSpectra& block_weights;
  MicSpectra& cancel_weights;
  BinValues& beam_power_smooth;
  BinValues& block_power_smooth;
};

struct CancellerOutput {
  Spectrum& reference;     // the beam, gated by the presence gain
  MicSpectra& blocked;     // one row per microphone: its spectrum less the reference
  BinValues& block_power;  // total power of these rows
  Spectrum& cancelled;     // sum of these rows, weighted
  BinValues& block_step;   // this frame's normalised step sizes
  BinValues& cancel_step;
  Spectrum& beam;  // the fixed beam less what was cancelled
};

inline namespace VEKBF_TARGET {

void cancel_sidelobes(const CancellerInput& input, const CancellerRules& rules,
                      const CancellerState& state, const CancellerOutput& output);

}  // namespace VEKBF_TARGET

}  // namespace vekbf
