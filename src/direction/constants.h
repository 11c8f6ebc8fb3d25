// SPDX-License-Identifier: MIT
//
// Time constants of the finder in transforms and updates at one sample rate. bit-exact contract:
// everything here is made of sums, products and quotients in double precision, rounded once.
#pragma once

#include <cstdint>

namespace vekbf::direction {

struct Constants {
  // Of the noise estimator.
  float smoothing;          // of the power
  float minimumForgetting;  // of the tracked minimum
  float minimumLookAhead;   // of the tracked minimum
  float noiseFloorFactor;   // least smoothing of the noise
  float presenceSmoothing;  // of the speech-presence probability
  float lateDecay;          // of the late reverberation, per transform
  float levelFade;          // decay of the loudest recent level, per update
  int32_t transformsPerUpdate;
  int32_t lateLag;             // transforms after which power counts as late reverberation
  int32_t onsetLag;            // transforms before which power is taken off as the sound before
  int32_t settlingTransforms;  // at the start, during which nothing counts
  int32_t firstBin;            // of those that can count
  int32_t lastBin;
};

Constants constants_of(uint32_t sampleRate);

// Updates that a talker elsewhere must lead before he is followed. 0: the default.
int32_t hold_updates(uint32_t holdMs, uint32_t sampleRate, int32_t transformsPerUpdate);

// The power ratio below which sound is too soft to be followed. 0: the default.
float focus_ratio(uint32_t focusDb);

}  // namespace vekbf::direction
