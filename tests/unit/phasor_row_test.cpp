// SPDX-License-Identifier: MIT
#include "math/phasor_row.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>

#include "base/sizes.h"
#include "math/phasor.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/every_float.h"
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
  const double doubling = static_cast<double>(kDoublingLimit) / 128;
  const double limit = static_cast<double>(kPhasorLimit) / 256;
  for (const double border : {tiny, doubling, limit}) {
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

TEST(PhasorRow, ARowBegunInTheMiddleLeavesTheRestAlone) {
  for (const double step : {0.0, 1e-10, 0.3, -1.7, 1e6}) {
    for (const int first : {129, 2, 255, 256}) {  // whole groups of lanes, and not
      Complex row[kBinCount];
      for (Complex& value : row) value = {7.0f, 7.0f};
      fill_phasor_row(row, step, first);
      for (int k = 0; k < first; ++k) ASSERT_TRUE(row[k].re == 7.0f && row[k].im == 7.0f) << k;
      for (int k = first; k < kBinCount; ++k) {
        const Complex expected = expected_value(k, step);
        ASSERT_TRUE(test::same_spectra(&row[k], &expected, 1)) << step << " bin " << k;
      }
    }
  }
}

// What is derived is compared with the definition; a step that is no such multiple derives nothing.
TEST(PhasorRow, DerivedRowsFollowTheDefinition) {
  const uint64_t seed = test::test_seed(4);
  SCOPED_TRACE(test::seed_note(seed));
  test::Random random(seed);
  for (int i = 0; i < 300; ++i) {
    constexpr double kScales[] = {1e-6, 2.0, 1e9, 1e39};
    const double step = static_cast<double>(random.unit()) * kScales[i % 4];
    Complex other[kBinCount], row[kBinCount];
    fill_phasor_row(other, step);
    const struct {
      double factor;
      int derived;
    } cases[] = {{1.0, 256}, {-1.0, 256}, {2.0, 128}, {-2.0, 0}, {0.5, 0}, {3.0, 0}};
    for (const auto& [factor, derived] : cases) {
      for (Complex& value : row) value = {7.0f, 7.0f};
      ASSERT_EQ(derive_phasor_row(row, factor * step, other, step), derived + 1) << factor;
      for (int k = 1; k <= derived; ++k) {
        const Complex expected = expected_value(k, factor * step);
        ASSERT_TRUE(test::same_spectra(&row[k], &expected, 1)) << factor << " bin " << k;
      }
      for (int k = derived + 1; k < kBinCount; ++k) ASSERT_EQ(row[k].re, 7.0f) << factor;
    }
  }
}

TEST(PhasorRow, NothingIsDerivedFromStepsThatHaveNoNumberOrNoPhase) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  Complex other[kBinCount] = {}, row[kBinCount];
  for (const double step : {0.0, -0.0, nan}) {
    EXPECT_EQ(derive_phasor_row(row, step, other, step), 1) << step;
  }
}

// Each row is compared with the definition, whichever of the others it was taken from; the steps
// lie where angles are doubled, at both ends of that domain, and beyond it.
TEST(PhasorRow, RowsThatHelpEachOtherFollowTheDefinition) {
  const uint64_t seed = test::test_seed(5);
  SCOPED_TRACE(test::seed_note(seed));
  test::Random random(seed);
  constexpr double kMultiples[][kMaxMics] = {{0, 1, 2, 3}, {0, 1, 2, 4},  {1, 2, 4, 8},
                                             {2, 1, 4, 2}, {1, 1, 2, 2},  {1, -1, 2, -2},
                                             {3, 6, 1, 2}, {1, 2, -2, 4}, {-1, -2, 3, 6}};
  const double tiny = static_cast<double>(kPhasorTiny) / 256;
  const double limit = static_cast<double>(kDoublingLimit) / 128;
  const double scales[] = {0.4, 3.0, tiny / 2, tiny, limit / 4, limit / 2, limit, 2 * limit};
  Spectrum rows[kMaxMics];
  for (int i = 0; i < 400; ++i) {
    const double step =
        scales[static_cast<size_t>(i) % std::size(scales)] * (1.0 + 0.01 * (random.unit() - 0.5));
    for (const auto& multiples : kMultiples) {
      double steps[kMaxMics];
      for (int m = 0; m < kMaxMics; ++m) steps[m] = multiples[m] * step;
      fill_phasor_rows(rows, steps, kMaxMics);
      for (int m = 0; m < kMaxMics; ++m) {
        for (int k = 1; k < kBinCount; ++k) {
          const Complex expected = expected_value(k, steps[m]);
          ASSERT_TRUE(test::same_spectra(&rows[m][k], &expected, 1))
              << "step " << steps[m] << " row " << m << " bin " << k;
        }
      }
    }
  }
}

// kDoubledWrong is the float of phasor_slow_test whose doubled direction rounds to another float
// than the functions give.
TEST(PhasorRow, NoAngleBeyondTheDomainIsDoubled) {
  constexpr double kDoubledWrong = 0x1.33333p+12;
  for (const double sign : {1.0, -1.0}) {
    // In one row, whose bin 128 has that angle.
    EXPECT_TRUE(row_matches(sign * kDoubledWrong / 128));
    // Between two rows: the bin 256 of the first has it.
    const double steps[] = {sign * kDoubledWrong / 256, sign * kDoubledWrong / 128};
    Spectrum rows[2];
    fill_phasor_rows(rows, steps, 2);
    for (int m = 0; m < 2; ++m) {
      const Complex expected = expected_value(kBinCount - 1, steps[m]);
      EXPECT_TRUE(test::same_spectra(&rows[m][kBinCount - 1], &expected, 1)) << m;
    }
  }
}

// Both signs, one float in 2,003 of the table's domain; every float in phasor_slow_test.
template <class V>
class PhasorLanes : public ::testing::Test {};
TYPED_TEST_SUITE(PhasorLanes, test::AllLaneTypes, test::LaneTypeNames);

TYPED_TEST(PhasorLanes, SampleOfTheDomainAgainstTheLibraryFunctions) {
  using V = TypeParam;
  for (const float sign : {1.0f, -1.0f}) {
    const uint64_t bad = test::for_every_float<V::kLanes>(
        kPhasorTiny, kPhasorLimit, 2003,
        [&](float* x) {
          for (int i = 0; i < V::kLanes; ++i) x[i] *= sign;
          Complex pairs[V::kLanes];
          store_pairs(pairs, phasor(V::load(x)));
          uint64_t wrong = 0;
          for (int i = 0; i < V::kLanes; ++i) {
            const double phi = static_cast<double>(x[i]);
            wrong += test::same_bits(pairs[i].re, static_cast<float>(std::cos(phi))) ? 0 : 1;
            wrong += test::same_bits(pairs[i].im, -static_cast<float>(std::sin(phi))) ? 0 : 1;
          }
          return wrong;
        },
        1);
    EXPECT_EQ(bad, 0u) << "sign " << sign;
  }
}

}  // namespace
}  // namespace vekbf
