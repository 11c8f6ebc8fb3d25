// SPDX-License-Identifier: MIT
#include "math/cosine.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "math/phasor_at.h"
#include "support/bits.h"
#include "support/digest.h"
#include "support/random.h"

namespace vekbf::test {
namespace {

constexpr double kRadiansPerDegree = 0.017453292519943295;

// Made by tests/support/generate_cosine_digest.py from 200 bits.
constexpr int32_t kDigestDegrees = 200000;
constexpr uint64_t kDigestOfCosines = 0x3db97ef2e2d9a4b2;

TEST(Cosine, OfWholeDegreesIsCorrectlyRounded) {
  Digest digest;
  for (int32_t degrees = 0; degrees <= kDigestDegrees; ++degrees) {
    const auto bits = std::bit_cast<uint64_t>(cosine(degrees * kRadiansPerDegree));
    for (int shift = 0; shift < 64; shift += 8) digest.byte(static_cast<uint8_t>(bits >> shift));
  }
  EXPECT_EQ(digest.value(), kDigestOfCosines);
}

// Good libraries are within one unit of the correctly rounded value, as cosine is.
TEST(Cosine, IsWithinAUnitOfTheMathematicsLibrarysInItsWholeDomain) {
  const uint64_t seed = test_seed(41);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (int i = 0; i < 300000; ++i) {
    const double scale = std::ldexp(1.0, random.below(80) - 55);
    const double x =
        static_cast<double>(random.unit()) * scale * (1.0 + 0x1p-30 * random.below(1 << 20));
    ASSERT_LE(std::fabs(x), kCosineLimit);
    const double expected = std::cos(x);
    const double unit = std::nextafter(std::fabs(expected), 2.0) - std::fabs(expected);
    ASSERT_LE(std::fabs(cosine(x) - expected), unit) << std::hexfloat << x;
    ASSERT_EQ(cosine(-x), cosine(x)) << std::hexfloat << x;
  }
}

// Next to its zeros the result is what the reduction leaves: all of its bits count.
TEST(Cosine, OfOddMultiplesOf90DegreesKeepsItsPrecision) {
  for (int64_t degrees = 90; degrees <= INT32_MAX; degrees += 3600180) {
    const double x = static_cast<double>(degrees) * kRadiansPerDegree;
    const double expected = std::cos(x);
    EXPECT_LT(std::fabs(expected), 1e-7);
    EXPECT_LE(std::fabs(cosine(x) - expected), std::fabs(expected) * 0x1p-52) << degrees;
  }
}

TEST(Cosine, OfZeroIsOneAndOutsideTheDomainThereIsNone) {
  EXPECT_EQ(cosine(0.0), 1.0);
  EXPECT_EQ(cosine(-0.0), 1.0);
  EXPECT_EQ(cosine(kCosineLimit), std::cos(kCosineLimit));
  using Limits = std::numeric_limits<double>;
  for (const double x :
       {std::nextafter(kCosineLimit, 1e9), 1e300, Limits::infinity(), Limits::quiet_NaN()}) {
    EXPECT_TRUE(std::isnan(cosine(x))) << x;
    EXPECT_TRUE(std::isnan(cosine(-x))) << x;
  }
  // The whole range of angles lies inside.
  EXPECT_LT(-static_cast<double>(INT32_MIN) * kRadiansPerDegree, kCosineLimit);
}

TEST(PhasorAt, IsTheRoundedValueOfTheMathematicsLibraryForFloatsOfEverySize) {
  const uint64_t seed = test_seed(42);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (int i = 0; i < 300000; ++i) {
    const float phi = random.any_float();
    const double x = static_cast<double>(phi);
    const Complex value = phasor_at(phi);
    ASSERT_TRUE(same_bits(value.re, static_cast<float>(std::cos(x)))) << std::hexfloat << phi;
    ASSERT_TRUE(same_bits(value.im, -static_cast<float>(std::sin(x)))) << std::hexfloat << phi;
  }
}

}  // namespace
}  // namespace vekbf::test
