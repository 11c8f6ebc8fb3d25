// SPDX-License-Identifier: MIT
//
// The plain model's magnitude, conversion and reciprocal, against their definitions.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>

#include "reference/arithmetic.h"
#include "support/bits.h"
#include "support/random.h"

namespace {

using vekbf::test::Random;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(ModelMagnitude, IsThatOfPythagoreanTriples) {
  EXPECT_EQ(5.0f, reference::magnitude({3.0f, -4.0f}));
  EXPECT_EQ(13.0f, reference::magnitude({-12.0f, 5.0f}));
  EXPECT_EQ(0x5p100f, reference::magnitude({0x3p100f, 0x4p100f}));
  EXPECT_EQ(0x5p-149f, reference::magnitude({0x3p-149f, 0x4p-149f}));
}

TEST(ModelMagnitude, AnInfinitePartWinsOverANotANumber) {
  EXPECT_EQ(kInfinity, reference::magnitude({kNan, -kInfinity}));
  EXPECT_EQ(kInfinity, reference::magnitude({kInfinity, kNan}));
  EXPECT_TRUE(std::isnan(reference::magnitude({kNan, 1.0f})));
}

#ifdef __GLIBC__
// The stored digests hold what glibc's cabsf gives. Other C libraries' may round otherwise.
TEST(ModelMagnitude, IsGlibcsComplexMagnitude) {
  Random random(16);
  for (int i = 0; i < 300000; ++i) {
    const float re = random.any_float();
    const float im =
        i % 2 == 0 ? random.any_float() : std::ldexp(re * random.unit(), random.below(27) - 13);
    const float expected = std::abs(std::complex<float>(re, im));
    ASSERT_TRUE(vekbf::test::same_bits(expected, reference::magnitude({re, im})))
        << std::hexfloat << re << " + i " << im;
  }
}
#endif

TEST(ModelConversion, CutsTowardZeroAndSaturates) {
  EXPECT_EQ(0, reference::to_integer(-0.7));
  EXPECT_EQ(-1, reference::to_integer(-1.5));
  EXPECT_EQ(2, reference::to_integer(2.999));
  EXPECT_EQ(INT32_MAX, reference::to_integer(2147483647.9));
  EXPECT_EQ(INT32_MAX, reference::to_integer(2147483648.0));
  EXPECT_EQ(INT32_MIN, reference::to_integer(-2147483648.9));
  EXPECT_EQ(INT32_MIN, reference::to_integer(-1e300));
  EXPECT_EQ(INT32_MAX, reference::to_integer(static_cast<double>(kInfinity)));
  EXPECT_EQ(0, reference::to_integer(static_cast<double>(kNan)));
}

TEST(ModelReciprocal, EstimateOfEveryMantissaIsTheRoundedReciprocalOfItsMiddle) {
  for (uint32_t top = 0; top < 256; ++top) {
    // The middle of the numbers whose mantissa begins with these eight bits; 1/middle lies between
    // 0.5 and 1 and is rounded to nine bits.
    const double middle = 1.0 + (top + 0.5) / 256.0;
    const double expected = static_cast<double>(std::lround(512.0 / middle)) / 512.0;
    const float lowest = 1.0f + static_cast<float>(top) / 256.0f;
    const float highest = std::nextafter(lowest + 1.0f / 256.0f, 0.0f);
    EXPECT_EQ(expected, static_cast<double>(reference::reciprocal_estimate(lowest))) << top;
    EXPECT_EQ(expected, static_cast<double>(reference::reciprocal_estimate(highest))) << top;
    EXPECT_EQ(-expected / 1024, static_cast<double>(reference::reciprocal_estimate(-lowest * 1024)))
        << top;
  }
}

TEST(ModelReciprocal, KnownPoints) {
  EXPECT_EQ(511.0f / 512.0f, reference::reciprocal_estimate(1.0f));
  EXPECT_EQ(511.0f / 1024.0f, reference::reciprocal_estimate(2.0f));
  EXPECT_EQ(256.0f / 512.0f, reference::reciprocal_estimate(std::nextafter(2.0f, 0.0f)));
  EXPECT_EQ(1.0f, reference::refined_reciprocal(1.0f));
  EXPECT_EQ(0.25f, reference::refined_reciprocal(4.0f));
}

TEST(ModelReciprocal, RefinedItIsWithinTwoUnitsOfTheQuotient) {
  Random random(17);
  for (int i = 0; i < 20000; ++i) {
    const float d = std::ldexp(1.5f + 0.5f * random.unit(), random.below(230) - 115);
    const double exact = 1.0 / static_cast<double>(d);
    EXPECT_NEAR(1.0, static_cast<double>(reference::refined_reciprocal(d)) / exact, 2.4e-7) << d;
  }
}

TEST(ModelReciprocal, IsZeroFromTwoToThe126AndNotANumberStays) {
  EXPECT_EQ(0.0f, reference::refined_reciprocal(0x1p126f));
  EXPECT_EQ(0.0f, reference::refined_reciprocal(std::numeric_limits<float>::max()));
  EXPECT_EQ(0.0f, reference::refined_reciprocal(kInfinity));
  EXPECT_TRUE(std::isnan(reference::refined_reciprocal(kNan)));
  const float below = std::nextafter(0x1p126f, 0.0f);
  EXPECT_EQ(0x1p-126f, reference::reciprocal_estimate(below));
  EXPECT_EQ(kInfinity, reference::refined_reciprocal(0.0f));
}

}  // namespace
