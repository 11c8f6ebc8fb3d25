// SPDX-License-Identifier: MIT
#include "direction/scene.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <utility>

#include "support/digest.h"

namespace vekbf::test {

namespace {

constexpr int32_t kSoundSpeed = 343;
constexpr uint32_t kRates[] = {8000, 16000, 48000, 11025, 15556, 22050, 32000, 44100};

struct NamedArray {
  const char* name;
  VekBfInit array;
};

VekBfInit array_of(uint32_t rate, int mics, VekBfGeometry geometry) {
  VekBfInit array = {};
  array.sampleRate = rate;
  array.bitWidth = 16;
  array.micNum = mics;
  array.soundSpeed = kSoundSpeed;
  array.geometry = geometry;
  return array;
}

// Two to four microphones, lines equal and unequal, in either order, and corners of a square.
std::vector<NamedArray> named_arrays(uint32_t rate) {
  return {
      {"line2x50", line_array(rate, {0.0f, 0.05f})},
      {"line3x60", line_array(rate, {0.0f, 0.06f, 0.12f})},
      {"line4x35", line_array(rate, {0.0f, 0.035f, 0.07f, 0.105f})},
      {"line4x80", line_array(rate, {0.12f, 0.04f, -0.04f, -0.12f})},
      {"unequal4", line_array(rate, {-0.113f, 0.036f, 0.076f, 0.113f})},
      {"unequal3", line_array(rate, {0.0f, 0.2f, 0.03f})},
      {"pairs4", line_array(rate, {0.0f, 0.0f, 0.1f, 0.1f})},
      {"square64", square_array(rate, 4, 0.0453f)},
      {"square100", square_array(rate, 4, -0.0707f)},
      {"corners3", square_array(rate, 3, 0.05f)},
      {"corners2", square_array(rate, 2, 0.05f)},
  };
}

VekDirConfig random_config(Random& random) {
  VekDirConfig config = {0, 0, 0, 0};
  if (random.below(2) == 0) {
    config.sectorFrom = random.below(360);
    config.sectorTo = random.below(360);
  }
  if (random.below(3) == 0) config.holdMs = static_cast<uint32_t>(random.below(600));
  if (random.below(3) == 0) config.focusDb = static_cast<uint32_t>(random.below(40));
  return config;
}

VekBfInit random_array(Random& random) {
  const uint32_t rate = random.below(3) == 0
                            ? 8000u + static_cast<uint32_t>(random.below(40001))
                            : kRates[random.below(static_cast<int>(std::size(kRates)))];
  const int mics = 2 + random.below(3);
  const float largest = random.below(4) == 0 ? 0.5f : 0.12f;  // metres from the middle
  if (random.below(2) == 0) return square_array(rate, mics, 0.01f + largest * random.unit() / 2);
  std::vector<float> positions;
  for (int m = 0; m < mics; ++m) positions.push_back(largest * random.unit());
  if (random.below(3) == 0) {
    for (int m = 0; m < mics; ++m)
      positions[static_cast<size_t>(m)] = 0.03f * static_cast<float>(m);
  }
  // Never all in one place.
  positions.back() = positions.front() + 0.02f + 0.05f * (1 + random.unit());
  return line_array(rate, positions);
}

}  // namespace

VekBfInit line_array(uint32_t rate, const std::vector<float>& positions) {
  VekBfInit array = array_of(rate, static_cast<int>(positions.size()), VEK_BF_UNIFORM_LINEAR_ARRAY);
  for (size_t m = 0; m < positions.size(); ++m) array.micCoordinate[m][0] = positions[m];
  return array;
}

VekBfInit square_array(uint32_t rate, int mics, float radius) {
  VekBfInit array = array_of(rate, mics, VEK_BF_UNIFORM_TRIANGLE_ARRAY);
  array.micCoordinate[0][0] = radius;
  return array;
}

DirectionSignal::DirectionSignal(const DirectionScene& scene)
    : signal_(scene.signal, scene.seed, scene.array.micNum),
      fault_(scene.fault),
      mics_(scene.array.micNum) {}

void DirectionSignal::block(int16_t* out) {
  signal_.block(out);
  for (int t = 0; t < kHopSize; ++t) {
    int16_t* frame = out + t * mics_;
    int16_t& last = frame[mics_ - 1];
    switch (fault_) {
      case ChannelFault::kNone:
        break;
      case ChannelFault::kDead:
        last = 0;
        break;
      case ChannelFault::kEqual:
        std::fill(frame, frame + mics_, frame[0]);
        break;
      case ChannelFault::kInverted:
        last = static_cast<int16_t>(last == INT16_MIN ? INT16_MAX : -last);
        break;
      case ChannelFault::kSwapped:
        std::swap(frame[0], last);
        break;
    }
  }
}

DirectionScene random_direction_scene(uint64_t seed, int blocks) {
  Random random(seed);
  DirectionScene scene = {};
  scene.name = "random-" + std::to_string(seed);
  scene.seed = random.next();
  scene.array = random_array(random);
  scene.config = random_config(random);
  scene.later = random_config(random);
  scene.signal = static_cast<SignalKind>(random.below(kSignalKinds));
  // Half of them voices, which is what the finder listens to.
  if (random.below(2) == 0) {
    constexpr SignalKind kVoices[] = {SignalKind::kTalker, SignalKind::kTwoTalkers,
                                      SignalKind::kMixed, SignalKind::kTalkerInVoid};
    scene.signal = kVoices[random.below(4)];
  }
  if (random.below(3) == 0) scene.fault = static_cast<ChannelFault>(random.below(kChannelFaults));
  scene.blocks = blocks;
  if (random.below(3) == 0) {
    scene.pauseAt = 1 + random.below(blocks);
    scene.goOnAt = scene.pauseAt + random.below(60);
  }
  if (random.below(3) == 0) scene.reconfigureAt = 1 + random.below(blocks);
  return scene;
}

const std::vector<DirectionScene>& direction_scenes() {
  static const std::vector<DirectionScene> list = [] {
    std::vector<DirectionScene> scenes;
    uint64_t seed = 1;
    // Every array at three rates, with voices.
    for (const uint32_t rate : {8000u, 16000u, 48000u}) {
      for (const NamedArray& named : named_arrays(rate)) {
        DirectionScene scene = {};
        scene.name = std::string(named.name) + "-" + std::to_string(rate);
        scene.array = named.array;
        scene.signal = seed % 2 == 0 ? SignalKind::kTwoTalkers : SignalKind::kTalker;
        scene.blocks = 600;
        scene.seed = seed++;
        scenes.push_back(scene);
      }
    }
    // Every signal, on a line and on a square.
    for (int kind = 0; kind < kSignalKinds; ++kind) {
      for (const bool square : {false, true}) {
        DirectionScene scene = {};
        scene.signal = static_cast<SignalKind>(kind);
        scene.name = std::string(name_of(scene.signal)) + (square ? "-square" : "-line");
        scene.array = square ? square_array(16000, 4, 0.0453f)
                             : line_array(16000, {0.0f, 0.035f, 0.07f, 0.105f});
        scene.fault = static_cast<ChannelFault>(kind % kChannelFaults);
        scene.blocks = 400;
        scene.seed = seed++;
        scenes.push_back(scene);
      }
    }
    // Any array, setting, fault, pause.
    for (uint64_t s = 1; s <= 24; ++s) scenes.push_back(random_direction_scene(s, 500));
    return scenes;
  }();
  return list;
}

namespace {

void add_bits(Digest& digest, uint32_t bits) {
  for (int shift = 0; shift < 32; shift += 8) digest.byte(static_cast<uint8_t>(bits >> shift));
}

}  // namespace

DirectionDigest digest_of(const DirectionScene& scene, DirectionEngine& engine) {
  Digest input, states, maps;
  std::vector<bool> seen(VEK_DIR_MAP_DEGREES);
  play(scene, engine, [&](int b, const std::vector<int16_t>& in, const VekDirState& state) {
    input.samples(in.data(), in.size());
    add_bits(states, static_cast<uint32_t>(state.angle));
    add_bits(states, static_cast<uint32_t>(state.heard));
    add_bits(states, std::bit_cast<uint32_t>(state.confidence));
    add_bits(states, state.age);
    if (state.angle >= 0) seen[static_cast<size_t>(state.angle)] = true;
    if (b % kMapInterval != kMapInterval - 1) return;
    float map[VEK_DIR_MAP_DEGREES];
    engine.map(map);
    for (const float value : map) add_bits(maps, std::bit_cast<uint32_t>(value));
  });
  return {input.value(), states.value(), maps.value(),
          static_cast<int>(std::count(seen.begin(), seen.end(), true))};
}

}  // namespace vekbf::test
