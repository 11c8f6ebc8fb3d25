// SPDX-License-Identifier: MIT
//
// What the real-time tests play: every algorithm and microphone count, the signals that lead to the
// extremes, steering that moves with every block.
#pragma once

#include <vector>

#include "vectors/library_engine.h"

namespace vekbf::test {

// Streams without a line of output: no zero blocks, only geometries with steering vectors.
inline std::vector<Scene> silent_streams(int blocks) {
  std::vector<Scene> list;
  uint64_t seed = 1;
  for (const VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    for (int32_t mics = 1; mics <= VEK_BF_MAX_MICS; ++mics) {
      for (const SignalKind signal : {SignalKind::kTalker, SignalKind::kEnds, SignalKind::kOneBit,
                                      SignalKind::kOnset, SignalKind::kConstant}) {
        const auto geometry = static_cast<VekBfGeometry>(seed % 2);
        const uint32_t rate = seed % 3 == 0 ? 8000 : 16000;  // 8000: not a number in the detector
        Scene scene = random_scene(seed++, algorithm, mics, geometry, rate, blocks);
        scene.signal = signal;
        scene.angles = AngleKind::kAnyInt;
        scene.reconfigureAt = 0;
        list.push_back(scene);
      }
    }
  }
  return list;
}

// Streams in which VekBf_Run has something to say: zero blocks, and shapes without steering
// vectors.
inline std::vector<Scene> speaking_streams(int blocks) {
  std::vector<Scene> list;
  uint64_t seed = 1000;
  for (const VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    for (const VekBfGeometry geometry :
         {VEK_BF_UNIFORM_LINEAR_ARRAY, VEK_BF_UNIFORM_RECTANGLE_ARRAY}) {
      Scene scene = random_scene(seed++, algorithm, 2, geometry, 16000, blocks);
      scene.signal = SignalKind::kSparse;
      scene.reconfigureAt = 0;
      list.push_back(scene);
    }
  }
  return list;
}

}  // namespace vekbf::test
