// SPDX-License-Identifier: MIT
//
// The instance record: all state of one beamformer but the transform and the detector, inside the
// caller's working buffer.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/complex.h"
#include "base/sizes.h"
#include "vek_bf.h"

inline constexpr int kReservedScalars = 4;

struct FftState;
struct VadState;

struct VekBfInstance {
  // From VekBf_Init.
  uint32_t sampleRate;   // Hz
  int32_t bitWidth;      // bits per sample, 16
  int32_t micNum;        // channels; 0 or less is accepted and gives silence
  int32_t blockCounter;  // 1 after configuration, plus 1 per processed block, modulo 2^32
  int32_t soundSpeed;    // m/s
  uint32_t intensity;    // 0 to 10, from VekBf_SetConfig
  float arrayRadius;     // |x| of microphone 0, metres
  int32_t steerAngle;    // degrees; the angle of the last VekBf_Run
  int32_t algorithm;     // 1 adaptive, anything else fixed

  FftState* fftState;  // owned
  VadState* vadState;  // owned

  float reserved[kReservedScalars];     // not read; keeps the record's size and order
  float micPlacement[vekbf::kMaxMics];  // line: x offset from microphone 0, metres; circle: angle,
                                        // radians
  float micDelay[vekbf::kMaxMics];  // arrival-time difference for the steering direction, seconds
  float micProjection[vekbf::kMaxMics];  // line: metres along the direction; circle: cosine of the
                                         // angle to it
  Complex steerTable[vekbf::kMaxMics]
                    [vekbf::kBinCount];     // steering vectors, one row per microphone
  float micCoordinate[vekbf::kMaxMics][2];  // x, y in metres
  VekBfGeometry geometry;

  // Tuning constants of the adaptive path.
  float blockPowerSmoothing;  // forgetting factor of the blocking-output power
  float beamPowerSmoothing;   // forgetting factor of the fixed-beam power and of the presence gain
  float blockStepSize;        // step size of the blocking coefficients
  float cancelStepSize;       // step size of the canceller coefficients
  float cancelRegularizer;    // added to the blocking-output power before division
  float blockRegularizer;     // added to the fixed-beam power before division

  // State of the adaptive path, per bin.
  float presenceGain[vekbf::kBinCount];      // smoothed speech-presence probability; bins 0 and 256
                                             // stay 1
  float beamPowerSmooth[vekbf::kBinCount];   // smoothed power of the fixed beam
  float blockPowerSmooth[vekbf::kBinCount];  // smoothed total power of the blocking outputs
  float blockStep[vekbf::kBinCount];   // this frame's normalised step of the blocking coefficients
  float cancelStep[vekbf::kBinCount];  // this frame's normalised step of the canceller coefficients
  float blockPowerSum[vekbf::kBinCount];  // this frame's total power of the blocking outputs
  Complex blockWeights[vekbf::kMaxMics]
                      [vekbf::kBinCount];  // blocking coefficients; survive a reconfiguration
  Complex cancelWeights[vekbf::kMaxMics][vekbf::kBinCount];  // canceller coefficients
  Complex blockOutput[vekbf::kMaxMics][vekbf::kBinCount];    // this frame's blocking outputs
  Complex fixedBeam[vekbf::kBinCount];                       // this frame's delay-and-sum beam
  Complex refBeam[vekbf::kBinCount];    // its gated copy, the blocking reference
  Complex cancelSum[vekbf::kBinCount];  // this frame's canceller output
  Complex outBeam[vekbf::kBinCount];    // this frame's output spectrum

  int16_t outputOverlap[vekbf::kFrameSize];  // overlap-add accumulator; the first hop is complete
  float beamPower[vekbf::kBinCount];         // |fixedBeam|^2, input of the detector

  // Framing.
  float micHistory[vekbf::kMaxMics][vekbf::kFrameSize];      // oldest sample first
  float fftScratch[vekbf::kMaxMics][vekbf::kFrameSize];      // its windowed copy
  Complex micSpectrum[vekbf::kMaxMics][vekbf::kBinCount];    // this block's spectra
  Complex savedSpectrum[vekbf::kMaxMics][vekbf::kBinCount];  // the frame path's copy of them
};

using Instance = VekBfInstance;

// With 8-byte pointers the record fills the working buffer; with 4-byte ones 12 bytes are spare.
static_assert(sizeof(Instance) + (sizeof(void*) == 4 ? 12 : 0) == vekbf::kWorkBufferSize);
static_assert(alignof(Instance) == alignof(void*));
static_assert(offsetof(Instance, fftState) == (sizeof(void*) == 4 ? 36 : 40));
static_assert(sizeof(VekBfGeometry) == 4);

namespace vekbf {

// Rows of the record in use: micNum clamped to 0..kMaxMics. Only a configuration checks micNum, and
// it has no lower bound.
inline int row_count(const Instance& instance) {
  if (instance.micNum < 0) return 0;
  return instance.micNum < kMaxMics ? instance.micNum : kMaxMics;
}

}  // namespace vekbf
