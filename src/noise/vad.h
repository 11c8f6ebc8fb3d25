// SPDX-License-Identifier: MIT
//
// Statistical-model voice-activity detector after J. Sohn, N. S. Kim and W. Sung, "A statistical
// model-based voice activity detection", IEEE Signal Processing Letters 6 (1999) 1-3, with a
// two-state recursion over frames. What deviates from the paper is said in vad.cpp.
#pragma once

#include <cstdint>

#include "noise/mcra2.h"

namespace vekbf {

// False in a build that runs the estimator alone (VEKBF_DETECTOR_STATE=OFF): likelihood, gain,
// probability and decision are not computed, and the fields that hold them stay as vad_init leaves
// them. No output sample depends on them.
#if defined(VEKBF_NO_DETECTOR_STATE)
inline constexpr bool kDetectorState = false;
#else
inline constexpr bool kDetectorState = true;
#endif

}  // namespace vekbf

struct VadInitParams {
  int32_t sampleRate;  // Hz
  int32_t frameLen;    // N, samples per frame
  int32_t binCount;    // K, bins of the power spectrum
  float threshold;     // of the speech probability, 0 to 1
};

// Each array holds K floats and is a heap block of its own; vad_free releases them and the
// estimator.
struct VadState {
  int32_t sampleRate;
  int32_t frameLen;
  int32_t binCount;
  float snrMax;             // upper clamp of the a-posteriori SNR
  float snrMin;             // lower clamp
  float transA;             // first transition parameter a
  float transAComp;         // 1 - a
  float transB;             // second transition parameter b
  float transBComp;         // 1 - b
  float transRatio;         // a / (1 - a)
  float transResid;         // (1 - b) - b a / (1 - a)
  float snrSmoothing;       // weight of the a-priori estimate
  float logLikelihood;      // smoothed log-likelihood of the frame, kept between frames
  float meanLogLikelihood;  // mean over the bins of the last frame
  float* scaledSnr;         // v
  float* binLogLikelihood;
  float* postSnrMinusOne;
  float* gain;              // spectral gain; nothing reads it
  float* speechPowerRatio;  // gain^2 times a-posteriori SNR; nothing reads it
  float* postSnr;           // a-posteriori SNR, clamped
  float* prioriSnr;         // a-priori SNR
  float threshold;
  int32_t decision;        // 1 speech, 0 none, after onset and hangover
  int32_t onsetFrames;     // frames above the threshold that it takes to enter speech
  int32_t hangoverFrames;  // frames not above it that it takes to leave speech
  int32_t hangoverCount;
  int32_t onsetCount;
  int32_t noiseState;  // 1 in noise, 0 in speech
  Mcra2State* mcra;    // owned
};

// Returns a new detector, or null for null params (with a log line) or when memory runs out.
VadState* vad_init(const VadInitParams* params);

// Takes one frame's power spectrum of K bins; returns the probability of speech, 0 to 1 (not a
// number at sampling rates where the transition parameters leave 0..1; 0 where kDetectorState is
// false), or -1 for a null state.
float vad_run(VadState* state, const float* power);

// Releases the detector, its arrays and its estimator.
void vad_free(VadState* state);
