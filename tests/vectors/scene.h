// SPDX-License-Identifier: MIT
//
// A scene: an array, a signal, a path of steering angles and what happens on the way. Everything in
// it follows from integers, so that a scene is the same stream on every machine.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/random.h"
#include "support/signals.h"
#include "vek_bf.h"

namespace vekbf::test {

enum class AngleKind {
  kFixed,   // one angle for the whole scene
  kSweep,   // a constant number of degrees per block
  kJump,    // another angle now and then, the ends of int32 and multiples of a turn among them
  kAnyInt,  // any 32-bit number in every block
};
inline constexpr int kAngleKinds = 4;

struct Scene {
  std::string name;
  VekBfInit init;
  VekBfConfig config;
  SignalKind signal;
  AngleKind angles;
  int32_t angle;      // the fixed one, or where a sweep begins
  int32_t angleStep;  // degrees per block of a sweep
  int blocks;
  int reconfigureAt;  // before this block the configuration below takes over; 0 for never
  VekBfConfig later;  // out of range: refused, and everything goes on as before
  uint64_t seed;
  bool saturates;  // known to reach the limits of the conversion to integers
};

inline constexpr int kLongScene = 400;  // blocks from which a scene counts as long

// Channels that the signal is made with. Without microphones the library still tests the first 128
// values of a block for zeros.
inline int channels_of(const Scene& scene) { return scene.init.micNum < 1 ? 1 : scene.init.micNum; }

// The angle given with each block, block by block.
class AnglePath {
 public:
  explicit AnglePath(const Scene& scene);
  int32_t next();

 private:
  AngleKind kind_;
  int32_t angle_;
  int32_t step_;
  Random random_;
  int block_ = 0;
};

// A scene that follows from its seed in everything but the arguments.
Scene random_scene(uint64_t seed, VekBfAlgorithm algorithm, int32_t mics, VekBfGeometry geometry,
                   uint32_t rate, int blocks);

// The list whose digests stand in digests.txt.
const std::vector<Scene>& scenes();

}  // namespace vekbf::test
