// SPDX-License-Identifier: MIT
//
// The signals of the microphones and their spectra: frames of 512 samples, a transform at every
// second block.
#pragma once

#include <cstdint>

#include "direction/phases.h"
#include "fft/fft_engine.h"

namespace vekbf::direction {

inline constexpr size_t kPlanBytes = 7680;  // no fewer than fft_plan_bytes(kFrameSize)

// A plan for transforms of one frame, and the window.
struct Transform {
  alignas(8) unsigned char planMemory[kPlanBytes];
  RealFftPlan* plan;  // in it
  float window[kFrameSize];
};

struct Signals {
  float history[kMaxMics][kFrameSize];  // oldest sample first
  Spectrum spectra[kMaxMics];
  Transform transform;
};

void start_signals(Signals& signals);

// Transforms the latest frame of every microphone and writes the mean of their powers, which is at
// least 1: far below the noise of 16-bit samples, and far from subnormal.
void transform_signals(Signals& signals, int mics, float* power);

}  // namespace vekbf::direction
