// SPDX-License-Identifier: MIT
//
// The library plays every scene and must give the digests that the plain model gave: the same
// angle, confidence and age after every block, and the same maps, on every build.
#include <gtest/gtest.h>

#include <set>

#include "direction/digest_file.h"
#include "direction/library_finder.h"

namespace vekbf::test {
namespace {

TEST(DirectionDigests, LibraryEqualsThePlainModel) {
  const auto stored = read_direction_digests(VEKBF_DIRECTION_DIGESTS);
  ASSERT_GE(stored.size(), 60u);
  EXPECT_EQ(stored.size(), direction_scenes().size());
  std::set<uint64_t> seen;
  int moving = 0;
  for (const DirectionScene& scene : direction_scenes()) {
    ASSERT_TRUE(stored.contains(scene.name)) << scene.name;
    const StoredDirection& kept = stored.at(scene.name);
    EXPECT_EQ(kept.blocks, scene.blocks) << scene.name;
    LibraryFinder library;
    const DirectionDigest digest = digest_of(scene, library);
    ASSERT_EQ(digest.input, kept.digest.input) << scene.name << ": the scene itself is another one";
    EXPECT_EQ(digest.states, kept.digest.states) << scene.name;
    EXPECT_EQ(digest.maps, kept.digest.maps) << scene.name;
    EXPECT_EQ(digest.angles, kept.digest.angles) << scene.name;
    seen.insert(digest.states);
    moving += digest.angles > 1;
  }
  // Most scenes have something to say, each its own.
  EXPECT_GT(moving, 45);
  EXPECT_GT(seen.size(), 60u);
}

}  // namespace
}  // namespace vekbf::test
