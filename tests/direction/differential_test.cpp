// SPDX-License-Identifier: MIT
//
// The library and the plain model, side by side over random scenes: every state and every map, bit
// for bit.
#include <gtest/gtest.h>

#include <cstring>

#include "direction/library_finder.h"
#include "direction/model_finder.h"

namespace vekbf::test {
namespace {

struct Counts {
  int heard = 0;
  int moved = 0;
};

Counts compare(const DirectionScene& scene) {
  LibraryFinder library;
  ModelFinder model;
  EXPECT_TRUE(model.start(scene.array)) << scene.name;
  model.configure(scene.config);
  Counts counts;
  int32_t before = -1;
  bool equal = true;
  play(scene, library, [&](int b, const std::vector<int16_t>& in, const VekDirState& state) {
    if (!equal) return;
    if (b > 0 && b == scene.pauseAt) model.pause(true);
    if (b > 0 && b == scene.goOnAt) model.pause(false);
    if (b > 0 && b == scene.reconfigureAt) model.configure(scene.later);
    const VekDirState expected = model.run(in.data());
    float map[VEK_DIR_MAP_DEGREES];
    float expectedMap[VEK_DIR_MAP_DEGREES];
    library.map(map);
    model.map(expectedMap);
    equal = std::memcmp(&state, &expected, sizeof state) == 0 &&
            std::memcmp(map, expectedMap, sizeof map) == 0;
    EXPECT_TRUE(equal) << scene.name << " block " << b << ": angle " << state.angle << " and "
                       << expected.angle << ", heard " << state.heard << " and " << expected.heard
                       << ", confidence " << state.confidence << " and " << expected.confidence
                       << ", age " << state.age << " and " << expected.age;
    counts.heard += state.heard;
    counts.moved += state.angle != before;
    before = state.angle;
  });
  return counts;
}

#ifdef VEKBF_EMULATED
constexpr int kScenes = 40;
constexpr int kBlocks = 120;
#else
constexpr int kScenes = 250;
constexpr int kBlocks = 300;
#endif

TEST(DirectionDifferential, RandomScenesAreEqualInEveryBit) {
  const uint64_t seed = test_seed(11);
  SCOPED_TRACE(seed_note(seed));
  Counts all;
  for (uint64_t s = 0; s < kScenes; ++s) {
    const Counts counts = compare(random_direction_scene(seed * 1000003 + s, kBlocks));
    all.heard += counts.heard;
    all.moved += counts.moved;
    if (testing::Test::HasFailure()) break;
  }
  // The scenes do reach the tracker.
  EXPECT_GT(all.heard, kScenes * kBlocks / 20);
  EXPECT_GT(all.moved, kScenes);
}

TEST(DirectionDifferential, StoredScenesAreEqualInEveryBit) {
  for (const DirectionScene& scene : direction_scenes()) {
    compare(scene);
    if (testing::Test::HasFailure()) break;
  }
}

}  // namespace
}  // namespace vekbf::test
