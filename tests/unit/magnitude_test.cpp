// SPDX-License-Identifier: MIT
//
// The magnitude, scalar and in lanes, against the plain model's.
#include "simd/magnitude.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "reference/arithmetic.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/random.h"

namespace vekbf::test {
namespace {

::testing::AssertionResult agrees(float re, float im) {
  const float expected = reference::magnitude({re, im});
  const float scalar = vekbf::magnitude(re, im);
  float lanes[4];
  simd::magnitude(f32x4::splat(re), f32x4::splat(im)).store(lanes);
  for (const float actual : {scalar, lanes[0], lanes[3]}) {
    if (!same_bits(actual, expected)) {
      return ::testing::AssertionFailure() << std::hexfloat << "|" << re << " + i " << im << "| is "
                                           << expected << ", not " << actual;
    }
  }
  return ::testing::AssertionSuccess();
}

TEST(Magnitude, OfSpecialValues) {
  const float inf = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float values[] = {0.0f,
                          0x1p-149f,
                          0x1.fffffcp-127f,
                          0x1p-126f,
                          0x1p-75f,
                          0x1p-64f,
                          0.5f,
                          1.0f,
                          3.0f,
                          4.0f,
                          32768.0f,
                          0x1p63f,
                          0x1p64f,
                          0x1.6a09e6p127f,
                          0x1p127f,
                          std::numeric_limits<float>::max(),
                          inf,
                          nan};
  for (const float re : values) {
    for (const float im : values) {
      EXPECT_TRUE(agrees(re, im));
      EXPECT_TRUE(agrees(-re, im));
      EXPECT_TRUE(agrees(re, -im));
      EXPECT_TRUE(agrees(-re, -im));
    }
  }
  EXPECT_EQ(vekbf::magnitude(3.0f, -4.0f), 5.0f);
  EXPECT_EQ(vekbf::magnitude(nan, -inf), inf);
  EXPECT_EQ(vekbf::magnitude(inf, nan), inf);
  EXPECT_TRUE(std::isnan(vekbf::magnitude(nan, 1.0f)));
  EXPECT_EQ(vekbf::magnitude(std::numeric_limits<float>::max(), std::numeric_limits<float>::max()),
            inf);
}

TEST(Magnitude, OfRandomBitPatterns) {
  const uint64_t seed = test_seed(20);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (int i = 0; i < 300000; ++i) ASSERT_TRUE(agrees(random.any_float(), random.any_float()));
}

// Parts of similar size, where the rounding of the sum matters most.
TEST(Magnitude, OfPartsOfSimilarSize) {
  const uint64_t seed = test_seed(21);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (int i = 0; i < 300000; ++i) {
    const float re = random.any_float();
    const float im = std::ldexp(re * random.unit(), random.below(27) - 13);
    ASSERT_TRUE(agrees(re, im));
  }
}

// Whole numbers, as the spectra of whole samples nearly are: many of their squares add up to values
// half way between two floats.
TEST(Magnitude, OfWholeNumbers) {
  const uint64_t seed = test_seed(22);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (int i = 0; i < 300000; ++i) {
    const int bits = 1 + random.below(24);
    const float re = static_cast<float>(random.next32() >> (32 - bits));
    const float im = static_cast<float>(random.next32() >> (32 - bits));
    ASSERT_TRUE(agrees(re, im));
  }
}

}  // namespace
}  // namespace vekbf::test
