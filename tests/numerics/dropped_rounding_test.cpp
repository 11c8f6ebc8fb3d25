// SPDX-License-Identifier: MIT
//
// gcc 12 makes a copy of the functions below when it may make vectors of scalars on x86: two
// neighbouring doubles are then no longer rounded to single precision. This test fails with a
// compiler that does so under the flags of the library.
#include <gtest/gtest.h>

namespace vekbf::test {
namespace {

struct Pair {
  double first;
  double second;
};

[[gnu::noinline]] Pair rounded(const Pair& a) {
  return {static_cast<double>(static_cast<float>(a.first)),
          static_cast<double>(static_cast<float>(a.second))};
}

[[gnu::noinline]] void round_both(double* values) {
  const double first = static_cast<double>(static_cast<float>(values[0]));
  const double second = static_cast<double>(static_cast<float>(values[1]));
  values[0] = first;
  values[1] = second;
}

// Halfway cases go to the even neighbour, 24 bits are kept. (Volatile: known values would be
// rounded by the compiler, and correctly.)
volatile double first_value = 1.0 + 0x1p-24;
volatile double second_value = 1.0 + 0x1.8p-23;
constexpr Pair kRounded = {1.0, 1.0 + 0x1p-22};

TEST(DroppedRounding, OfARecord) {
  const Pair values = {first_value, second_value};
  const Pair result = rounded(values);
  EXPECT_EQ(result.first, kRounded.first);
  EXPECT_EQ(result.second, kRounded.second);
}

TEST(DroppedRounding, OfAnArray) {
  double values[2] = {first_value, second_value};
  round_both(values);
  EXPECT_EQ(values[0], kRounded.first);
  EXPECT_EQ(values[1], kRounded.second);
}

}  // namespace
}  // namespace vekbf::test
