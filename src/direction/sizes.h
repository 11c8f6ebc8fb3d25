// SPDX-License-Identifier: MIT
//
// The sizes that the parts of the direction finder share.
#pragma once

#include <cstdint>

#include "base/sizes.h"

namespace vekbf::direction {

inline constexpr uint32_t kBufferSize = 128 * 1024;  // bytes the caller gives to each finder
inline constexpr uint32_t kBufferAlignment = 8;

inline constexpr int kBlocksPerTransform = 2;
inline constexpr int kMaxTransformsPerUpdate = 6;        // at 48 kHz
inline constexpr int kMaxLag = kMaxTransformsPerUpdate;  // of the late reverberation, transforms

inline constexpr int kHarmonics = 24;  // of the Fourier series in the angle, from 1; 0 is the mean
inline constexpr int kHarmonicStep = 4;     // the length of a row is a multiple of it
inline constexpr int kMaxBandBins = 224;    // bins that can count, at any rate
inline constexpr int kMaxBinsUsed = 96;     // bins that count in one transform, at most
inline constexpr int kMaxGroups = 6;        // pairs of four microphones
inline constexpr int kMaxGroupPairs = 4;    // pairs with one displacement
inline constexpr int kMaxAccumulators = 4;  // groups of a square; a line has one for all

inline constexpr int kCircleDegrees = 360;
inline constexpr int kLineDegrees = 181;    // 0 to 180
inline constexpr int kQuarterDegrees = 91;  // 0 to 90

}  // namespace vekbf::direction
