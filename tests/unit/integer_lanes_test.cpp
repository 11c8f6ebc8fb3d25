// SPDX-License-Identifier: MIT
//
// The integer lanes, for every backend of this build.
#include "simd/lanes.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <vector>

#include "support/backends.h"
#include "support/bits.h"
#include "support/random.h"

namespace vekbf::test {
namespace {

template <class V>
class IntegerLanes : public testing::Test {
 protected:
  using I = decltype(bits_of(V{}));
  static constexpr int kLanes = V::kLanes;

  // Random patterns with the ends of the range among them.
  void SetUp() override {
    Random random(0x1a4e5);
    values = {0, 1, -1, INT32_MAX, INT32_MIN, 0x7f800000, 0x7fc00000, 0x0000ffff, 0x00010000};
    while (values.size() < 4000) values.push_back(static_cast<int32_t>(random.next32()));
  }

  // Calls check(a, b, lanes of op(a, b)) for groups of neighbours.
  template <class Op, class Check>
  void for_groups(Op op, Check check) {
    for (size_t at = 0; at + 2 * kLanes <= values.size(); ++at) {
      const int32_t* a = &values[at];
      const int32_t* b = &values[at + kLanes];
      int32_t out[kLanes];
      op(load(a), load(b)).store(out);
      for (int i = 0; i < kLanes; ++i) check(a[i], b[i], out[i]);
    }
  }

  static I load(const int32_t* p) {
    float lanes[kLanes];
    for (int i = 0; i < kLanes; ++i) lanes[i] = std::bit_cast<float>(p[i]);
    return bits_of(V::load(lanes));
  }

  std::vector<int32_t> values;
};
TYPED_TEST_SUITE(IntegerLanes, AllLaneTypes, LaneTypeNames);

TYPED_TEST(IntegerLanes, DifferenceWraps) {
  this->for_groups([](auto a, auto b) { return a - b; },
                   [](int32_t a, int32_t b, int32_t out) {
                     ASSERT_EQ(static_cast<uint32_t>(out),
                               static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
                   });
}

TYPED_TEST(IntegerLanes, AndIsBitwise) {
  this->for_groups([](auto a, auto b) { return a & b; },
                   [](int32_t a, int32_t b, int32_t out) { ASSERT_EQ(out, a & b); });
}

TYPED_TEST(IntegerLanes, ShiftsFillWithZeros) {
  this->for_groups([](auto a, auto) { return shifted_left<6>(a); },
                   [](int32_t a, int32_t, int32_t out) {
                     ASSERT_EQ(static_cast<uint32_t>(out), static_cast<uint32_t>(a) << 6);
                   });
  this->for_groups([](auto a, auto) { return shifted_right<23>(a); },
                   [](int32_t a, int32_t, int32_t out) {
                     ASSERT_EQ(static_cast<uint32_t>(out), static_cast<uint32_t>(a) >> 23);
                   });
}

TYPED_TEST(IntegerLanes, SplatFillsEveryLane) {
  using Lanes = decltype(bits_of(TypeParam{}));
  int32_t out[TypeParam::kLanes];
  Lanes::splat(-77).store(out);
  for (const int32_t x : out) EXPECT_EQ(x, -77);
}

TYPED_TEST(IntegerLanes, BitsComeBackAsTheSameFloat) {
  for (size_t at = 0; at + TypeParam::kLanes <= this->values.size(); ++at) {
    float out[TypeParam::kLanes];
    float_of_bits(this->load(&this->values[at])).store(out);
    for (int i = 0; i < TypeParam::kLanes; ++i) {
      ASSERT_EQ(std::bit_cast<int32_t>(out[i]), this->values[at + static_cast<size_t>(i)]);
    }
  }
}

TYPED_TEST(IntegerLanes, WholeNumbersBecomeFloats) {
  for (int32_t n = -200; n <= 200; ++n) {
    int32_t in[TypeParam::kLanes];
    for (int i = 0; i < TypeParam::kLanes; ++i) in[i] = n + i;
    float out[TypeParam::kLanes];
    to_float(this->load(in)).store(out);
    for (int i = 0; i < TypeParam::kLanes; ++i) EXPECT_EQ(out[i], static_cast<float>(n + i));
  }
}

TYPED_TEST(IntegerLanes, OffsetsAreTheLowHalves) {
  for (size_t at = 0; at + TypeParam::kLanes <= this->values.size(); ++at) {
    size_t out[TypeParam::kLanes];
    offsets_of(this->load(&this->values[at]), out);
    for (int i = 0; i < TypeParam::kLanes; ++i) {
      ASSERT_EQ(out[i], static_cast<uint16_t>(this->values[at + static_cast<size_t>(i)]));
    }
  }
}

TYPED_TEST(IntegerLanes, SameBitsSeesEveryLaneAndEveryBit) {
  using V = TypeParam;
  float a[V::kLanes];
  for (int i = 0; i < V::kLanes; ++i) a[i] = 1.5f + static_cast<float>(i);
  EXPECT_TRUE(same_bits(V::load(a), V::load(a)));
  for (int i = 0; i < V::kLanes; ++i) {
    for (int bit = 0; bit < 32; ++bit) {
      float b[V::kLanes];
      for (int j = 0; j < V::kLanes; ++j) b[j] = a[j];
      b[i] = std::bit_cast<float>(std::bit_cast<uint32_t>(b[i]) ^ (1u << bit));
      EXPECT_FALSE(same_bits(V::load(a), V::load(b))) << "lane " << i << ", bit " << bit;
    }
  }
}

TYPED_TEST(IntegerLanes, SameBitsIsNotEquality) {
  using V = TypeParam;
  const float nan = std::bit_cast<float>(0x7fc00000u);
  EXPECT_TRUE(same_bits(V::splat(nan), V::splat(nan)));
  EXPECT_FALSE(same_bits(V::splat(0.0f), V::splat(-0.0f)));
}

}  // namespace
}  // namespace vekbf::test
