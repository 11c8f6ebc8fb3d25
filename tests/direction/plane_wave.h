// SPDX-License-Identifier: MIT
//
// Sound from far away as the microphones of an array hear it: each source a plane wave from one
// direction, delayed by fractions of a sample, and noise of each microphone's own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "vek_direction.h"

namespace vekbf::test {

struct WaveSource {
  double degrees;
  std::vector<double> samples;
};

// A voice of so many samples that begins with `silence` of them, scaled to a peak of `level`.
std::vector<double> voice_samples(uint64_t seed, size_t count, size_t silence, double level);
// Steady noise, scaled alike.
std::vector<double> noise_samples(uint64_t seed, size_t count, double level);

// Interleaved samples of the array, as many frames as the longest source.
std::vector<int16_t> heard_by(const VekBfInit& array, const std::vector<WaveSource>& sources,
                              double noisePeak, uint64_t seed);

// The states after each block of a recording, by the library from a fresh start.
std::vector<VekDirState> states_of(const VekBfInit& array, const VekDirConfig& config,
                                   const std::vector<int16_t>& recording);

// Degrees between two directions.
int32_t degrees_between(int32_t a, int32_t b);

}  // namespace vekbf::test
