// SPDX-License-Identifier: MIT
//
// The double lanes, for every backend of this build, against plain arithmetic.
#include "simd/lanes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "support/backends.h"
#include "support/bits.h"
#include "support/random.h"

namespace vekbf::test {
namespace {

template <class V>
class DoubleLanes : public testing::Test {
 protected:
  static constexpr int kLanes = V::kLanes;

  // Calls check(a, b, lanes of op(widen a, widen b) rounded) for random and special floats.
  template <class Op, class Check>
  void for_groups(Op op, Check check) {
    constexpr float kInf = std::numeric_limits<float>::infinity();
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    Random random(0xd0b1e);
    std::vector<float> values = {0.0f,  -0.0f, 1.0f,      -1.0f,     kInf,
                                 -kInf, kNan,  0x1p-126f, 0x1p-149f, 0x1.fffffep127f};
    while (values.size() < 8000) values.push_back(random.any_float());
    for (size_t at = 0; at + 2 * kLanes <= values.size(); ++at) {
      const float* a = &values[at];
      const float* b = &values[at + kLanes];
      float out[kLanes];
      narrow(op(widen(V::load(a)), widen(V::load(b)))).store(out);
      for (int i = 0; i < kLanes; ++i) {
        const auto expected = static_cast<float>(check(double{a[i]}, double{b[i]}));
        ASSERT_TRUE(same_bits(out[i], expected)) << a[i] << ", " << b[i] << ": " << out[i];
      }
    }
  }
};
TYPED_TEST_SUITE(DoubleLanes, AllLaneTypes, LaneTypeNames);

TYPED_TEST(DoubleLanes, WidenedFloatsComeBack) {
  this->for_groups([](auto a, auto) { return a; }, [](double a, double) { return a; });
}

TYPED_TEST(DoubleLanes, ArithmeticIsThatOfDoubles) {
  this->for_groups([](auto a, auto b) { return a + b; }, [](double a, double b) { return a + b; });
  this->for_groups([](auto a, auto b) { return a - b; }, [](double a, double b) { return a - b; });
  this->for_groups([](auto a, auto b) { return a * b; }, [](double a, double b) { return a * b; });
  this->for_groups([](auto a, auto b) { return a / b; }, [](double a, double b) { return a / b; });
  this->for_groups([](auto a, auto) { return square_root(a); },
                   [](double a, double) { return std::sqrt(a); });
}

TYPED_TEST(DoubleLanes, KeepMorePrecisionThanFloatsOnTheWay) {
  this->for_groups([](auto a, auto b) { return (a * b - a) * b; },
                   [](double a, double b) { return (a * b - a) * b; });
}

// gcc 12 may compile such text to a copy where it makes vectors of scalars.
TYPED_TEST(DoubleLanes, RoundedToSingleAndBack) {
  this->for_groups([](auto a, auto b) { return widen(narrow(a * b)) - a * b; },
                   [](double a, double b) {
                     volatile float single = static_cast<float>(a * b);
                     return static_cast<double>(single) - a * b;
                   });
}

TYPED_TEST(DoubleLanes, SplatFillsEveryLane) {
  using W = decltype(widen(TypeParam{}));
  float out[TypeParam::kLanes];
  narrow(W::splat(0.1) * W::splat(3.0)).store(out);
  for (const float x : out) EXPECT_EQ(x, static_cast<float>(0.1 * 3.0));
}

TYPED_TEST(DoubleLanes, ColumnsTakeTwoNeighboursFromEachRow) {
  using W = decltype(widen(TypeParam{}));
  double table[40];
  for (int i = 0; i < 40; ++i) table[i] = i + 0.25;
  const size_t offsets[8] = {8 * 7, 0, 8 * 38, 8 * 12, 8 * 11, 8 * 1, 8 * 20, 8 * 31};
  W first, second;
  load_columns(table, offsets, first, second);
  float out[2][TypeParam::kLanes];
  narrow(first).store(out[0]);
  narrow(second).store(out[1]);
  for (int i = 0; i < TypeParam::kLanes; ++i) {
    EXPECT_EQ(out[0][i], static_cast<float>(table[offsets[i] / 8]));
    EXPECT_EQ(out[1][i], static_cast<float>(table[offsets[i] / 8 + 1]));
  }
}

// Products of floats cover the subnormals, their ties and everything beside them.
TYPED_TEST(DoubleLanes, SmallResultsAreRoundedAsAllOthers) {
  using V = TypeParam;
  Random random(0x50b);
  for (int round = 0; round < 20000; ++round) {
    float a[V::kLanes], b[V::kLanes], out[V::kLanes];
    for (int i = 0; i < V::kLanes; ++i) {
      a[i] = random.unit();
      // The size runs from far below the subnormals to well above them; few bits give ties.
      b[i] = std::ldexp(1.0f + static_cast<float>(random.below(8)) / 8, -100);
      a[i] = std::ldexp(round % 2 == 0 ? a[i] : std::round(a[i] * 64) / 64, -random.below(60));
    }
    narrow_small(widen(V::load(a)) * widen(V::load(b))).store(out);
    for (int i = 0; i < V::kLanes; ++i) {
      const float expected = static_cast<float>(double{a[i]} * double{b[i]});
      ASSERT_TRUE(same_bits(out[i], expected)) << std::hexfloat << a[i] << " " << b[i];
    }
  }
}

TYPED_TEST(DoubleLanes, SmallResultsAtTheEdges) {
  using V = TypeParam;
  using W = decltype(widen(V{}));
  const double edges[] = {0.0,
                          0x1p-149,
                          0x1p-150,
                          0x1.8p-149,
                          0x1.8p-150,
                          0x1p-126,
                          0x1.ffffffp-127,
                          0x1.fffffep-127,
                          0x1.fffffcp-127,
                          0x1p-160,
                          0x1p-1000,
                          1.0,
                          1e300,
                          0x1.8p-148,
                          0x1.4p-147};
  for (const double positive : edges) {
    for (const double x : {positive, -positive}) {
      float out[V::kLanes];
      narrow_small(W::splat(x)).store(out);
      for (const float y : out) {
        EXPECT_TRUE(same_bits(y, static_cast<float>(x))) << std::hexfloat << x << " " << y;
      }
    }
  }
  float out[V::kLanes];
  narrow_small(W::splat(std::numeric_limits<double>::quiet_NaN())).store(out);
  for (const float y : out) EXPECT_TRUE(std::isnan(y));
}

}  // namespace
}  // namespace vekbf::test
