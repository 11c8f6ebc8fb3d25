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
TYPED_TEST_SUITE(Lanes, SeveralLaneTypes, LaneTypeNames);

using Calls = std::vector<std::pair<int, int>>;  // lanes, first index

TYPED_TEST(Lanes, WholeGroupsFirstThenOneByOneInAscendingOrder) {
  constexpr int kLanes = TypeParam::kLanes;
  for (int count = 0; count <= 2 * kLanes + 1; ++count) {
    Calls expected;
    for (int i = 0; i < count;) {
      const int lanes = i + kLanes <= count ? kLanes : 1;
      expected.emplace_back(lanes, i);
      i += lanes;
    }
    Calls calls;
    simd::for_each_lane<TypeParam>(
        count, [&](auto lane, int i) { calls.emplace_back(decltype(lane)::kLanes, i); });
    EXPECT_EQ(calls, expected) << count;
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

TEST(LanesDefault, IsTheBackendOfTheBuild) {
  int groups = 0;
  simd::for_each_lane(simd::Widest::kLanes, [&](auto lane, int) {
    groups += std::is_same_v<decltype(lane), simd::Widest>;
  });
  EXPECT_EQ(groups, 1);
}

}  // namespace
}  // namespace vekbf::test
