// SPDX-License-Identifier: MIT
//
// The library plays every scene and must give the digests that the plain model gave: the same
// output samples without allowance, and the same state every hundred blocks.
#include <gtest/gtest.h>

#include "noise/vad.h"
#include "support/quiet.h"
#include "vectors/digest_file.h"
#include "vectors/library_engine.h"

namespace vekbf::test {
namespace {

const std::map<std::string, StoredScene>& stored() {
  static const std::map<std::string, StoredScene> scenes_of_file = read_digests(VEKBF_DIGESTS);
  return scenes_of_file;
}

TEST(StreamDigests, FileHoldsEveryScene) {
  EXPECT_EQ(stored().size(), scenes().size());
  for (const Scene& scene : scenes()) {
    ASSERT_TRUE(stored().contains(scene.name)) << scene.name;
    const StoredScene& kept = stored().at(scene.name);
    EXPECT_EQ(kept.blocks, scene.blocks) << scene.name;
    const auto states = static_cast<size_t>((scene.blocks + kStateInterval - 1) / kStateInterval);
    EXPECT_EQ(kept.digest.states.size(), states) << scene.name;
  }
}

// An output digest that two scenes share would be silence, or a scene that does not depend on its
// own input.
TEST(StreamDigests, OnlySilentScenesShareAnOutput) {
  std::map<uint64_t, std::string> seen;
  for (const Scene& scene : scenes()) {
    // Without steering vectors there is no beam, and levels of one bit round to nothing.
    const bool silent = scene.init.micNum < 1 || scene.init.geometry > 1 ||
                        scene.signal == SignalKind::kSparse ||
                        scene.signal == SignalKind::kOneBit ||
                        (scene.signal == SignalKind::kOnset && scene.blocks < 52);
    if (silent) continue;
    const auto [first, is_new] = seen.emplace(stored().at(scene.name).digest.output, scene.name);
    EXPECT_TRUE(is_new) << scene.name << " and " << first->second;
  }
}

class StreamDigests : public testing::TestWithParam<size_t> {};

TEST_P(StreamDigests, LibraryEqualsThePlainModel) {
  const Scene& scene = scenes()[GetParam()];
  SceneDigest digest;
  {
    const Quiet quiet;
    digest = digest_of(scene, kLibrary);
  }
  const SceneDigest& expected = stored().at(scene.name).digest;
  ASSERT_EQ(digest.input, expected.input) << "the scene itself is another one";
  EXPECT_EQ(digest.output, expected.output);
  ASSERT_EQ(digest.states.size(), expected.states.size());
  // The detector's state is part of each; differential_test compares the other fields without it.
  for (size_t i = 0; kDetectorState && i < digest.states.size(); ++i) {
    ASSERT_EQ(digest.states[i], expected.states[i])
        << "state of interval " << i << " of " << kStateInterval << " blocks";
  }
  EXPECT_EQ(digest.saturated, expected.saturated);
  if (scene.saturates) {
    EXPECT_GT(digest.saturated, 0) << "no sample passed 32 bits";
  }
}

std::string test_name(const testing::TestParamInfo<size_t>& info) {
  std::string name = scenes()[info.param].name;
  for (char& c : name) {
    if (c == '-') c = '_';
  }
  return (scenes()[info.param].blocks >= kLongScene ? "long_" : "short_") + name;
}

INSTANTIATE_TEST_SUITE_P(Scenes, StreamDigests, testing::Range(size_t{0}, scenes().size()),
                         test_name);

}  // namespace
}  // namespace vekbf::test
