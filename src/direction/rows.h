// SPDX-License-Identifier: MIT
//
// Steering tables. The phase that a pair at distance d sees of a source in direction theta is
// kappa cos theta with kappa = 2 pi f d / c, and its cosine and sine are Fourier series in theta
// (the expansion of Jacobi and Anger): cos(kappa cos theta) = J_0 - 2 J_2 cos 2 theta + ...,
// sin(kappa cos theta) = 2 J_1 cos theta - 2 J_3 cos 3 theta + ... A bin's row holds the factors of
// cos n theta for n = 1, 2, 3, ...; that of n = 0 is the mean over all directions, which the map
// leaves out.
//
// Where kappa is small the response is broad. There the phase is taken two, four or eight times, as
// that of a pair so much farther apart would be: as long as it cannot turn round it says the same,
// more sharply.
#pragma once

#include <cstdint>

#include "direction/constants.h"
#include "direction/groups.h"
#include "direction/sizes.h"

namespace vekbf::direction {

// The most that lines of four microphones need; tests/direction/parts_test.cpp looks for more.
inline constexpr int kRowFloats = 70 * 1024 / 4;

inline constexpr int kMostDoublings = 3;

// Coherences are multiples of its reciprocal.
inline constexpr int kCoherenceSteps = 1 << 14;

struct Rows {
  // Per bin, from the first that can count.
  uint16_t start[kMaxBandBins][kMaxGroups];  // of each set's row, in steps of kHarmonicStep floats
  uint8_t steps[kMaxBandBins][kMaxGroups];   // its length, 0: the set has none here
  // Per set, how many of the lowest bins take the phase at least twice, four and eight times.
  int32_t doubled[kMaxGroups][kMostDoublings];
  // Per set and bin, from bin 0: coherence of sound from everywhere, sin(kappa) / kappa, in steps;
  // 0 where the set has no row.
  int16_t diffuse[kMaxGroups][kBinCount];
  float values[kRowFloats];
};

// Whether any bin has a row, and the table holds them all.
bool has_rows(const Groups& groups, const Constants& constants, uint32_t sampleRate,
              int32_t soundSpeed);

// `rows` is all zero before.
void fill_rows(Rows& rows, const Groups& groups, const Constants& constants, uint32_t sampleRate,
               int32_t soundSpeed);

}  // namespace vekbf::direction
