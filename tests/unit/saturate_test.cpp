// SPDX-License-Identifier: MIT
#include "base/saturate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "support/random.h"

namespace vekbf::test {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

// The compiler must not work the conversion out: it would saturate where the machine does not.
int32_t converted(double value) {
  volatile double hidden = value;
  return to_int32_saturating(hidden);
}

TEST(ToInt32Saturating, TruncatesTowardZero) {
  EXPECT_EQ(converted(0.999999), 0);
  EXPECT_EQ(converted(-0.999999), 0);
  EXPECT_EQ(converted(1.5), 1);
  EXPECT_EQ(converted(-1.5), -1);
  EXPECT_EQ(converted(-0.0), 0);
  EXPECT_EQ(converted(5e-324), 0);
}

TEST(ToInt32Saturating, SaturatesAtBothLimits) {
  EXPECT_EQ(converted(2147483646.9), 2147483646);
  EXPECT_EQ(converted(2147483647.0), INT32_MAX);
  EXPECT_EQ(converted(2147483647.9), INT32_MAX);
  EXPECT_EQ(converted(2147483648.0), INT32_MAX);
  EXPECT_EQ(converted(4294967296.0), INT32_MAX);
  EXPECT_EQ(converted(1.7e308), INT32_MAX);
  EXPECT_EQ(converted(kInf), INT32_MAX);
  EXPECT_EQ(converted(-2147483647.9), -2147483647);
  EXPECT_EQ(converted(-2147483648.0), INT32_MIN);
  EXPECT_EQ(converted(-2147483648.9), INT32_MIN);
  EXPECT_EQ(converted(-2147483649.0), INT32_MIN);
  EXPECT_EQ(converted(-kInf), INT32_MIN);
}

TEST(ToInt32Saturating, TakesNotANumberTo0) {
  EXPECT_EQ(converted(std::nan("")), 0);
  EXPECT_EQ(converted(-std::nan("123")), 0);
  EXPECT_EQ(converted(static_cast<double>(std::nanf(""))), 0);
}

TEST(ToInt32Saturating, KeepsEveryWholeNumberInRange) {
  Random random(1);
  for (int i = 0; i < 100000; ++i) {
    const int32_t whole = static_cast<int32_t>(random.next32());
    EXPECT_EQ(converted(whole), whole);
  }
}

TEST(WrappingAdd, IsModulo2To32) {
  EXPECT_EQ(wrapping_add(INT32_MAX, 1), INT32_MIN);
  EXPECT_EQ(wrapping_add(INT32_MIN, -1), INT32_MAX);
  EXPECT_EQ(wrapping_add(INT32_MIN, INT32_MIN), 0);
  EXPECT_EQ(wrapping_add(INT32_MAX, INT32_MAX), -2);
  EXPECT_EQ(wrapping_add(-5, 3), -2);
}

TEST(WrappingMul, IsModulo2To32) {
  EXPECT_EQ(wrapping_mul(65536, 65536), 0);
  EXPECT_EQ(wrapping_mul(65536, 32768), INT32_MIN);
  EXPECT_EQ(wrapping_mul(INT32_MIN, -1), INT32_MIN);
  EXPECT_EQ(wrapping_mul(-32768, -32768), 1073741824);
  EXPECT_EQ(wrapping_mul(-7, 6), -42);
}

}  // namespace
}  // namespace vekbf::test
