// SPDX-License-Identifier: MIT
#include "simd/lanes.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "support/backends.h"

namespace vekbf::test {
namespace {

template <class V>
class Lanes : public ::testing::Test {};
TYPED_TEST_SUITE(Lanes, FourLaneTypes, LaneTypeNames);

using Calls = std::vector<std::pair<int, int>>;  // lanes, first index

TYPED_TEST(Lanes, GroupsOfFourFirstThenOneByOneInAscendingOrder) {
  const Calls expected[] = {{},
                            {{1, 0}},
                            {{1, 0}, {1, 1}},
                            {{1, 0}, {1, 1}, {1, 2}},
                            {{4, 0}},
                            {{4, 0}, {1, 4}},
                            {{4, 0}, {1, 4}, {1, 5}},
                            {{4, 0}, {1, 4}, {1, 5}, {1, 6}},
                            {{4, 0}, {4, 4}},
                            {{4, 0}, {4, 4}, {1, 8}}};
  for (int count = 0; count < 10; ++count) {
    Calls calls;
    simd::for_each_lane<TypeParam>(
        count, [&](auto lane, int i) { calls.emplace_back(decltype(lane)::kLanes, i); });
    EXPECT_EQ(calls, expected[count]) << count;
  }
}

TYPED_TEST(Lanes, ANegativeCountCallsNothing) {
  int calls = 0;
  simd::for_each_lane<TypeParam>(-1, [&](auto, int) { ++calls; });
  EXPECT_EQ(calls, 0);
}

TYPED_TEST(Lanes, EveryPartialLengthComputesAllElementsAndNothingBeyond) {
  for (int count = 0; count <= 19; ++count) {
    float in[24];
    float out[24];
    for (int i = 0; i < 24; ++i) {
      in[i] = static_cast<float>(i) + 0.25f;
      out[i] = -1.0f;
    }
    simd::for_each_lane<TypeParam>(count, [&](auto lane, int i) {
      using V = decltype(lane);
      (V::load(in + i) * V::splat(3.0f) + V::splat(1.0f)).store(out + i);
    });
    for (int i = 0; i < 24; ++i) {
      const float value = 3.0f * (static_cast<float>(i) + 0.25f) + 1.0f;
      EXPECT_EQ(out[i], i < count ? value : -1.0f) << i << " of " << count;
    }
  }
}

TYPED_TEST(Lanes, TheBinsAreSixtyFourGroupsAndTheLastOneAlone) {
  Calls calls;
  simd::for_each_bin<TypeParam>(
      [&](auto lane, int k) { calls.emplace_back(decltype(lane)::kLanes, k); });
  ASSERT_EQ(calls.size(), 65u);
  for (int group = 0; group < 64; ++group) {
    EXPECT_EQ(calls[static_cast<size_t>(group)], std::pair(4, 4 * group));
  }
  EXPECT_EQ(calls[64], std::pair(1, 256));
}

TEST(LanesDefault, IsTheBackendOfTheBuild) {
  int fours = 0;
  simd::for_each_lane(4, [&](auto lane, int) { fours += std::is_same_v<decltype(lane), f32x4>; });
  EXPECT_EQ(fours, 1);
}

}  // namespace
}  // namespace vekbf::test
