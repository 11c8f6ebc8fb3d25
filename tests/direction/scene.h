// SPDX-License-Identifier: MIT
//
// A scene for the direction finder: an array, a signal, faults of its channels, settings and pauses
// on the way. Everything in it follows from integers, so that it is the same stream on every
// machine.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/random.h"
#include "support/signals.h"
#include "vek_direction.h"

namespace vekbf::test {

enum class ChannelFault {
  kNone,
  kDead,      // the last channel is 0
  kEqual,     // all channels are the first one
  kInverted,  // the last channel has the other sign
  kSwapped,   // the first and the last are exchanged
};
inline constexpr int kChannelFaults = 5;

struct DirectionScene {
  std::string name;
  VekBfInit array;
  VekDirConfig config;
  SignalKind signal;
  ChannelFault fault;
  int blocks;
  // Events before these blocks; 0 for never.
  int pauseAt;
  int goOnAt;
  int reconfigureAt;
  VekDirConfig later;
  uint64_t seed;
};

// The blocks of a scene, one after the other.
class DirectionSignal {
 public:
  explicit DirectionSignal(const DirectionScene& scene);
  void block(int16_t* out);

 private:
  Signal signal_;
  ChannelFault fault_;
  int mics_;
};

// Arrays as people build them, and lines of unequal spacing.
VekBfInit line_array(uint32_t rate, const std::vector<float>& positions);
VekBfInit square_array(uint32_t rate, int mics, float radius);

// A scene that follows from its seed in everything but its length.
DirectionScene random_direction_scene(uint64_t seed, int blocks);

// The list whose digests stand in digests.txt.
const std::vector<DirectionScene>& direction_scenes();

// What a finder says over a scene.
struct DirectionDigest {
  uint64_t input;
  uint64_t states;  // of every block
  uint64_t maps;    // of every kMapInterval blocks
  int angles;       // that were given: different ones
};
inline constexpr int kMapInterval = 16;  // blocks

// A finder under test: the library, or the plain model.
struct DirectionEngine {
  virtual ~DirectionEngine() = default;
  virtual bool start(const VekBfInit& array) = 0;
  virtual void configure(const VekDirConfig& config) = 0;
  virtual void pause(bool on) = 0;
  virtual VekDirState run(const int16_t* in) = 0;
  virtual void map(float* out) = 0;
};

// Plays a scene; `after` is called with the number of each block and the state behind it.
template <class After>
void play(const DirectionScene& scene, DirectionEngine& engine, After&& after) {
  ASSERT_TRUE(engine.start(scene.array)) << scene.name;
  engine.configure(scene.config);
  DirectionSignal signal(scene);
  std::vector<int16_t> in(static_cast<size_t>(scene.array.micNum * VEK_BF_BLOCK_FRAMES));
  for (int b = 0; b < scene.blocks; ++b) {
    if (b > 0 && b == scene.pauseAt) engine.pause(true);
    if (b > 0 && b == scene.goOnAt) engine.pause(false);
    if (b > 0 && b == scene.reconfigureAt) engine.configure(scene.later);
    signal.block(in.data());
    after(b, in, engine.run(in.data()));
  }
}

DirectionDigest digest_of(const DirectionScene& scene, DirectionEngine& engine);

}  // namespace vekbf::test
