// SPDX-License-Identifier: MIT
#include "math/log_rounded.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/backends.h"
#include "support/bits.h"
#include "support/every_float.h"

namespace vekbf::test {
namespace {

template <class V>
class LogRounded : public testing::Test {};
TYPED_TEST_SUITE(LogRounded, AllLaneTypes, LaneTypeNames);

// How many lanes differ from the library function.
template <class V>
uint64_t mismatches(const float* a) {
  float actual[V::kLanes];
  log_rounded(V::load(a)).store(actual);
  uint64_t bad = 0;
  for (int i = 0; i < V::kLanes; ++i) {
    bad += same_bits(actual[i], static_cast<float>(std::log(static_cast<double>(a[i])))) ? 0 : 1;
  }
  return bad;
}

TYPED_TEST(LogRounded, EqualsTheLibraryOverADenseSampleOfItsDomain) {
  // All of them are walked by log_rounded_slow_test.
  EXPECT_EQ(
      for_every_float<TypeParam::kLanes>(kLogLowest, kLogHighest, 101, mismatches<TypeParam>, 1),
      0u);
}

TYPED_TEST(LogRounded, EqualsTheLibraryAboutOneAndAtTheJointsOfTheTable) {
  EXPECT_EQ(
      for_every_float<TypeParam::kLanes>(0x1.fff8p-1f, 0x1.0008p0f, 1, mismatches<TypeParam>, 1),
      0u);
  for (int32_t joint = kLogTableFirst; joint < kLogTableFirst + (10 << 23); joint += 1 << 16) {
    const float first = std::bit_cast<float>(joint - 4);
    const float last = std::bit_cast<float>(joint + 4);
    if (first < kLogLowest || last > kLogHighest) continue;
    ASSERT_EQ(for_every_float<TypeParam::kLanes>(first, last, 1, mismatches<TypeParam>, 1), 0u)
        << first;
  }
}

// Arguments whose logarithm lies within 60 units of a double from the middle between two floats,
// nearest first, with the floats that the GNU library's doubles round to. The first lies 0.2 units
// below the middle and yet rounds up, because its double is the middle itself.
constexpr float kHardCases[][2] = {
    {0x1.2f1fd6p+3f, 0x1.1fcbdp+1f},  {0x1.a6c9aep+0f, 0x1.00dde6p-1f},
    {0x1.addc8ap+1f, 0x1.362076p+0f}, {0x1.8aa6f2p+0f, 0x1.bb371p-2f},
    {0x1.a09964p+1f, 0x1.2e1aa8p+0f}, {0x1.c7655ep+4f, 0x1.ac9e3ap+1f},
    {0x1.9e475p+7f, 0x1.55564ap+2f},  {0x1.b88eap+0f, 0x1.15f218p-1f},
    {0x1.585704p+7f, 0x1.4980bcp+2f}, {0x1.9b84ap+1f, 0x1.2af66ep+0f},
    {0x1.4cd816p+0f, 0x1.0ccbf2p-2f}, {0x1.fffffcp-1f, -0x1.000002p-23f},
    {0x1.abcff4p+8f, 0x1.83c17ep+2f}, {0x1.b5a3cep+7f, 0x1.58d914p+2f},
    {0x1.09814ap+8f, 0x1.65397ep+2f}, {0x1.c79b88p+2f, 0x1.f676b2p+0f},
    {0x1.1e25d8p+3f, 0x1.186b3cp+1f}, {0x1.8286cep+4f, 0x1.97a15ep+1f},
    {0x1.8db676p+2f, 0x1.d3ac3cp+0f}, {0x1.5cb51ep+1f, 0x1.009062p+0f},
};

TYPED_TEST(LogRounded, RoundsTheHardestArgumentsAsTheLibraryDoes) {
  for (const auto& [a, expected] : kHardCases) {
    float group[TypeParam::kLanes], actual[TypeParam::kLanes];
    for (float& x : group) x = a;
    log_rounded(TypeParam::load(group)).store(actual);
    for (const float x : actual) EXPECT_TRUE(same_bits(x, expected)) << std::hexfloat << a;
    EXPECT_TRUE(same_bits(log_rounded_plain(a), expected)) << std::hexfloat << a;
  }
}

TYPED_TEST(LogRounded, IsExactlyZeroAtOne) {
  float group[TypeParam::kLanes], actual[TypeParam::kLanes];
  for (float& x : group) x = 1.0f;
  log_rounded(TypeParam::load(group)).store(actual);
  for (const float x : actual) EXPECT_TRUE(same_bits(x, 0.0f));
}

}  // namespace
}  // namespace vekbf::test
