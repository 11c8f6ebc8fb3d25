// SPDX-License-Identifier: MIT
//
// Which bins of a frame can be relied on for a direction: what is left of their power when steady
// noise (noise/mcra2.h) and late reverberation are taken off. Late reverberation is what the bin
// held some transforms before, decaying (K. Lebart, J. M. Boucher, P. N. Denbigh, "A new method
// based on spectral subtraction for speech dereverberation", Acta Acustica 87 (2001) 359-366). What
// the bin held just before is taken off too: sound that rises has come the straight way. In steady
// noise nothing is left; the onsets of speech are.
#pragma once

#include <cstdint>

#include "base/sizes.h"
#include "direction/constants.h"
#include "direction/sizes.h"
#include "noise/mcra2.h"

namespace vekbf::direction {

using BinPowers = float[kBinCount];

// No fewer than mcra2_bytes of kBinCount bins.
inline constexpr size_t kEstimatorBytes = sizeof(Mcra2State) + 11 * sizeof(BinPowers);

struct Reliability {
  alignas(8) unsigned char noiseMemory[kEstimatorBytes];
  Mcra2State* noise;              // in it
  BinPowers powers[kMaxLag + 1];  // of the last transforms, a ring
  BinPowers late;
  // Power above noise, late reverberation and the sound before; until there is one, the mean power
  // of the first transforms.
  BinPowers excess;
  int32_t newest;  // of the ring
  uint64_t transforms;
};

void start_reliability(Reliability& r, const Constants& constants, uint32_t sampleRate);

// Where the power of the next transform is to be written to, before `update_reliability`.
float* next_power(Reliability& r, const Constants& constants);

// Takes in the power of a transform. Returns whether `excess` holds: nothing counts in the first
// transforms.
bool update_reliability(Reliability& r, const Constants& constants);

// Bins that count, in ascending order, and their weights.
struct ReliableBins {
  int32_t count;
  int32_t bins[kMaxBandBins];
  float weights[kMaxBandBins];
};

// The bins with an excess, kMaxBinsUsed of them at most: the heaviest of twelve bands.
void choose_bins(ReliableBins& chosen, const Reliability& r, const Constants& constants);

}  // namespace vekbf::direction
