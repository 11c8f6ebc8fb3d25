// SPDX-License-Identifier: MIT
//
// Noise power by minima-controlled recursive averaging with continuous minimum tracking, "MCRA2":
// S. Rangachari and P. C. Loizou, "A noise-estimation algorithm for highly non-stationary
// environments", Speech Communication 48 (2006) 220-231. What deviates from the paper is said in
// mcra2.cpp.
#pragma once

#include <cstddef>
#include <cstdint>

struct Mcra2InitParams {
  int32_t sampleRate;  // Hz
  int32_t binCount;    // K, bins of the power spectrum
};

// Each array holds K floats and is a heap block of its own; mcra2_free releases them all.
struct Mcra2State {
  int32_t frameCount;      // number of the next frame; 1 means no frame seen yet
  int32_t binCount;        // K
  float alphaD;            // floor of the noise smoothing factor
  float alphaP;            // smoothing of the speech-presence probability
  float beta;              // look-ahead factor of the minimum tracking
  float extraFactor;       // not read
  float gamma;             // forgetting factor of the minimum tracking
  float eta;               // smoothing of the power spectrum
  float* delta;            // threshold of the ratio of smoothed power to minimum, per bin
  float* inputPower;       // the last input
  float* noisePower;       // the noise estimate, the result
  float* speechProb;       // smoothed speech-presence probability
  float* prevSmoothPower;  // smoothed power of the previous frame
  float* smoothPower;      // smoothed power of this frame
  float* prevMinPower;     // tracked minimum of the previous frame
  float* minPower;         // tracked minimum of this frame
  float* smoothFactor;     // noise smoothing factor of this frame
  float* powerRatio;       // smoothed power over minimum
  float* speechFlag;       // 1 where the ratio exceeded the threshold, else 0
};

// Returns a new estimator, or null for null params (with a log line) or when memory runs out.
Mcra2State* mcra2_init(const Mcra2InitParams* params);

// The same without the heap, for callers that own all their memory: bytes that an estimator of
// params.binCount bins takes (0 where no memory can be so large), and an estimator in that many
// bytes at `memory`, which must be aligned for a pointer. Such an estimator is not released;
// mcra2_free must not see it.
size_t mcra2_bytes(const Mcra2InitParams& params);
Mcra2State* mcra2_lay_out(void* memory, const Mcra2InitParams& params);

// Takes one frame's power spectrum of K bins. The first frame only seeds the estimates.
void mcra2_run(Mcra2State* state, const float* power);

void mcra2_free(Mcra2State* state);
