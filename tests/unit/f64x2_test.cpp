// SPDX-License-Identifier: MIT
//
// The pairs of doubles, of every backend of this build, against plain doubles.
#include "simd/f64x2.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "support/bits.h"
#include "support/random.h"

namespace vekbf::test {
namespace {

using simd::f64x2;
using PortableF64x2 = simd::portable::f64x2;

template <bool kNative>
struct Backends {
  using All = ::testing::Types<PortableF64x2>;
};
template <>
struct Backends<true> {
  using All = ::testing::Types<PortableF64x2, f64x2>;
};

template <class D>
class Doubles : public ::testing::Test {};
TYPED_TEST_SUITE(Doubles, Backends<!(std::is_same_v<f64x2, PortableF64x2>)>::All);

// Special values of both precisions, values that single precision rounds to its limits, ties.
std::vector<double> values() {
  std::vector<double> all = {0.0,
                             1.0,
                             0x1.000001p0,
                             0x1.000003p0,
                             0x1.0000010000001p0,
                             0x1.fffffefffffffp127,
                             0x1.ffffffp127,
                             0x1p-126,
                             0x1.fffffffp-127,
                             0x1p-149,
                             0x1p-150,
                             0x1.0000000000001p-150,
                             5e-324,
                             1e300,
                             std::numeric_limits<double>::infinity(),
                             std::numeric_limits<double>::quiet_NaN()};
  const size_t count = all.size();
  for (size_t i = 0; i < count; ++i) all.push_back(-all[i]);
  Random random(64);
  for (int i = 0; i < 2000; ++i) {
    all.push_back(std::bit_cast<double>(random.next()));
    all.push_back(static_cast<double>(random.any_float()) * (1.0 + 0x1p-30 * random.unit()));
  }
  return all;
}

bool same(double a, double b) {
  return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b) || (a != a && b != b);
}

// The lanes of a, read without any of its own operations.
template <class D>
struct Lanes {
  double v[2];
  explicit Lanes(D a) {
    static_assert(sizeof a == sizeof v);
    __builtin_memcpy(v, &a, sizeof v);
  }
};

template <class D, class Op, class Expected>
void check(Op op, Expected expected) {
  const std::vector<double> all = values();
  Random random(2);
  for (size_t i = 0; i < all.size(); ++i) {
    const double a[2] = {all[i],
                         all[static_cast<size_t>(random.below(static_cast<int>(all.size())))]};
    const double b[2] = {all[static_cast<size_t>(random.below(static_cast<int>(all.size())))],
                         all[all.size() - 1 - i]};
    const Lanes<D> result(op(D::of(a[0], a[1]), D::of(b[0], b[1])));
    for (int lane = 0; lane < 2; ++lane) {
      ASSERT_PRED2(same, result.v[lane], expected(a[lane], b[lane]))
          << "lane " << lane << std::hexfloat << ": " << a[lane] << ", " << b[lane];
    }
  }
}

TYPED_TEST(Doubles, LanesHoldWhatTheyAreMadeOf) {
  const Lanes<TypeParam> two(TypeParam::of(1.5, -0.0));
  EXPECT_EQ(two.v[0], 1.5);
  EXPECT_PRED2(same, two.v[1], -0.0);
  const Lanes<TypeParam> one(TypeParam::splat(0x1.0000000000001p-150));
  EXPECT_EQ(one.v[0], 0x1.0000000000001p-150);
  EXPECT_EQ(one.v[1], 0x1.0000000000001p-150);
}

TYPED_TEST(Doubles, Sum) {
  check<TypeParam>([](auto a, auto b) { return a + b; }, [](double a, double b) { return a + b; });
}
TYPED_TEST(Doubles, Difference) {
  check<TypeParam>([](auto a, auto b) { return a - b; }, [](double a, double b) { return a - b; });
}
TYPED_TEST(Doubles, Product) {
  check<TypeParam>([](auto a, auto b) { return a * b; }, [](double a, double b) { return a * b; });
}

// gcc 12 compiles the plain text of this to a copy when it makes vectors of scalars on x86.
TYPED_TEST(Doubles, RoundedToSingleAndBack) {
  check<TypeParam>([](auto a, auto) { return rounded_to_float(a); },
                   [](double a, double) {
                     volatile float single = static_cast<float>(a);
                     return static_cast<double>(single);
                   });
}

TYPED_TEST(Doubles, LowBitsAreThoseOfTheRepresentation) {
  const double a = std::bit_cast<double>(uint64_t{0x3ff0000089abcdef});
  const double b = std::bit_cast<double>(uint64_t{0xc000000012345678});
  EXPECT_EQ(low_bits(TypeParam::of(a, b), 0), 0x89abcdefu);
  EXPECT_EQ(low_bits(TypeParam::of(a, b), 1), 0x12345678u);
}

TYPED_TEST(Doubles, ColumnsOfTwoRows) {
  const double rows[3][2] = {{1.0, 2.0}, {3.0, 4.0}, {5.0, 6.0}};
  const auto columns = load_columns(TypeParam::splat(0.0), rows[2], rows[0]);
  const Lanes<TypeParam> first(columns.first);
  const Lanes<TypeParam> second(columns.second);
  EXPECT_EQ(first.v[0], 5.0);
  EXPECT_EQ(first.v[1], 1.0);
  EXPECT_EQ(second.v[0], 6.0);
  EXPECT_EQ(second.v[1], 2.0);
}

TYPED_TEST(Doubles, StoredPairsAreRoundedAndNothingElseIsWritten) {
  const std::vector<double> all = values();
  for (size_t i = 0; i + 4 <= all.size(); ++i) {
    Complex out[4] = {{7, 7}, {7, 7}, {7, 7}, {7, 7}};
    store_pairs(out + 1, TypeParam::of(all[i], all[i + 1]), TypeParam::of(all[i + 2], all[i + 3]));
    const Complex expected[4] = {{7, 7},
                                 {static_cast<float>(all[i]), static_cast<float>(all[i + 2])},
                                 {static_cast<float>(all[i + 1]), static_cast<float>(all[i + 3])},
                                 {7, 7}};
    ASSERT_TRUE(same_spectra(out, expected, 4)) << i;
  }
}

}  // namespace
}  // namespace vekbf::test
