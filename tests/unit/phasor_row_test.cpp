// SPDX-License-Identifier: MIT
#include "math/phasor_row.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "base/sizes.h"
#include "math/phasor.h"
#include "support/bits.h"
#include "support/random.h"

namespace vekbf {
namespace {

// The definition, independent of the code under test.
Complex expected_value(int k, double step) {
  const float phi = static_cast<float>(static_cast<double>(k) * step);
  return {static_cast<float>(std::cos(static_cast<double>(phi))),
          -static_cast<float>(std::sin(static_cast<double>(phi)))};
}

::testing::AssertionResult row_matches(double step) {
  Complex row[kBinCount] = {{7.0f, 7.0f}};
  fill_phasor_row(row, step);
  if (row[0].re != 7.0f || row[0].im != 7.0f) {
    return ::testing::AssertionFailure() << "bin 0 was written";
  }
  for (int k = 1; k < kBinCount; ++k) {
    const Complex expected = expected_value(k, step);
    const auto same = test::same_spectra(&row[k], &expected, 1);
    if (!same)
      return ::testing::AssertionFailure()
             << "step " << step << " bin " << k << ": " << same.message();
  }
  return ::testing::AssertionSuccess();
}

TEST(PhasorRow, NoDelayKeepsTheSignOfZero) {
  Complex row[kBinCount];
  fill_phasor_row(row, 0.0);
  EXPECT_EQ(row[1].re, 1.0f);
  EXPECT_TRUE(std::signbit(row[1].im));
  EXPECT_TRUE(row_matches(0.0));
  fill_phasor_row(row, -0.0);
  EXPECT_FALSE(std::signbit(row[256].im));
  EXPECT_TRUE(row_matches(-0.0));
}

TEST(PhasorRow, EveryRuleAndItsBordersGiveTheLibraryFunctionsFloats) {
  const double tiny = static_cast<double>(kPhasorTiny) / 256;
  const double limit = static_cast<double>(kPhasorLimit) / 256;
  for (const double border : {tiny, limit}) {
    for (const double factor : {1 - 1e-6, 1 - 1e-12, 1.0, 1 + 1e-12, 1 + 1e-6}) {
      EXPECT_TRUE(row_matches(border * factor));
      EXPECT_TRUE(row_matches(-border * factor));
    }
  }
}

TEST(PhasorRow, HugeSubnormalInfiniteAndUndefinedSteps) {
  using Limits = std::numeric_limits<double>;
  for (const double step : {1e5, 1e30, 1e300, Limits::max(), Limits::infinity(),
                            Limits::quiet_NaN(), 1e-42, 1e-310, Limits::denorm_min()}) {
    EXPECT_TRUE(row_matches(step));
    EXPECT_TRUE(row_matches(-step));
  }
}

TEST(PhasorRow, RandomStepsOfOrdinaryArrays) {
  const uint64_t seed = test::test_seed(1);
  SCOPED_TRACE(test::seed_note(seed));
  test::Random random(seed);
  for (int i = 0; i < 400; ++i) {
    // Delays up to 3 ms at rates up to 48 kHz: steps up to about 2 rad.
    ASSERT_TRUE(row_matches(static_cast<double>(random.unit()) * 2.0));
  }
}

TEST(PhasorRow, RandomStepsOfAnyMagnitude) {
  const uint64_t seed = test::test_seed(2);
  SCOPED_TRACE(test::seed_note(seed));
  test::Random random(seed);
  for (int i = 0; i < 200; ++i) {
    ASSERT_TRUE(row_matches(static_cast<double>(random.any_float())));
  }
}

// Both signs, one float in 2,003 of the table's domain; every float in phasor_slow_test.
TEST(Phasor, SampleOfTheDomainAgainstTheLibraryFunctions) {
  using D = simd::f64x2;
  const uint32_t first = std::bit_cast<uint32_t>(kPhasorTiny);
  const uint32_t last = std::bit_cast<uint32_t>(kPhasorLimit);
  for (uint32_t bits = first; bits <= last; bits += 2003) {
    const double x = static_cast<double>(std::bit_cast<float>(bits));
    const Phasor<D> value = phasor(D::of(x, -x));
    Complex pair[2];
    store_pairs(pair, value.re, value.im);
    const Complex expected[2] = {
        {static_cast<float>(std::cos(x)), -static_cast<float>(std::sin(x))},
        {static_cast<float>(std::cos(-x)), -static_cast<float>(std::sin(-x))}};
    ASSERT_TRUE(test::same_spectra(pair, expected, 2)) << "x = " << x;
  }
}

TEST(Phasor, BothBackendsGiveTheSameBits) {
  test::Random random(3);
  for (int i = 0; i < 20000; ++i) {
    const float a = 40.0f * random.unit();
    const float b = 0x1p17f * random.unit();
    Complex native[2], portable[2];
    const auto n = phasor(simd::f64x2::of(static_cast<double>(a), static_cast<double>(b)));
    const auto p =
        phasor(simd::portable::f64x2::of(static_cast<double>(a), static_cast<double>(b)));
    store_pairs(native, n.re, n.im);
    store_pairs(portable, p.re, p.im);
    ASSERT_TRUE(test::same_spectra(native, portable, 2)) << a << " " << b;
  }
}

}  // namespace
}  // namespace vekbf
