// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "base/instance.h"
#include "beam.h"

namespace vekbf::bench {

inline constexpr int kBenchAngle = 60;

// What the stages work on: an adaptive four-microphone instance of the library that has run over
// speech in noise, and copies of its signals that a stage may spoil.
struct Workload {
  Beam linear{kLibrary, VEK_ADAPTIVE_BF, VEK_BF_UNIFORM_LINEAR_ARRAY, kMaxMics};
  Beam triangle{kLibrary, VEK_ADAPTIVE_BF, VEK_BF_UNIFORM_TRIANGLE_ARRAY, kMaxMics};
  float frame[kFrameSize];
  float spoilt[kFrameSize];
  Complex bins[kBinCount];
  Instance* line() { return linear.instance(); }

  // The beam's power spectra over loud speech, one after the other for a detector that has heard
  // them once: given the same spectrum again and again, its estimator would take it for noise.
  Beam loud{kLibrary, VEK_ADAPTIVE_BF, VEK_BF_UNIFORM_LINEAR_ARRAY, kMaxMics};
  std::vector<std::array<float, kBinCount>> powers;
  size_t frame_number = 0;
  const float* next_power() { return powers[frame_number++ % powers.size()].data(); }
};

}  // namespace vekbf::bench
