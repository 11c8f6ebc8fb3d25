// SPDX-License-Identifier: MIT
//
// Plays a scene through the library or through the plain model, whichever the caller names.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "base/instance.h"
#include "fft/fft.h"
#include "vectors/scene.h"

namespace vekbf::test {

// The operations of one implementation.
struct Engine {
  VekBfHandle (*init)(void*, const VekBfInit*);
  uint32_t (*setConfig)(VekBfHandle, const VekBfConfig*);
  uint32_t (*run)(VekBfHandle, const int16_t*, int16_t*, int32_t);
  uint32_t (*freeInstance)(VekBfHandle);
  FftState* (*fftInit)(const FftInitParams*);
  void (*doFft)(FftState*, float*, float*, int32_t);
  void (*fftFree)(FftState*);
};

// What the two sides of a comparison see of one block.
struct PlayedBlock {
  int number;  // 1 for the first
  int32_t angle;
  const std::vector<int16_t>& in;
  const std::vector<int16_t>& out;
  const Instance& instance;
};

// One instance that goes through a scene. Owns its working buffer.
class Player {
 public:
  Player(const Scene& scene, const Engine& engine);
  ~Player();
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

  // False when the scene is over.
  bool play_block();
  PlayedBlock last() const { return {block_, angle_, in_, out_, *handle_}; }

 private:
  const Scene& scene_;
  const Engine& engine_;
  std::vector<uint64_t> memory_;
  VekBfHandle handle_;
  Signal signal_;
  AnglePath path_;
  std::vector<int16_t> in_;
  std::vector<int16_t> out_;
  int block_ = 0;
  int32_t angle_ = 0;
};

// State digests are taken after every so many blocks, and after the last one.
inline constexpr int kStateInterval = 100;

struct SceneDigest {
  uint64_t input = 0;  // samples and angles
  uint64_t output = 0;
  int64_t saturated = 0;  // samples beyond 32 bits; counted in scenes that are known for it
  std::vector<uint64_t> states;
};

SceneDigest digest_of(const Scene& scene, const Engine& engine);

}  // namespace vekbf::test
