// SPDX-License-Identifier: MIT
#include "simd/pairs.h"

#include <gtest/gtest.h>

#include "base/complex.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/random.h"

namespace vekbf::test {
namespace {

template <class V>
class PairsOf : public ::testing::Test {};
TYPED_TEST_SUITE(PairsOf, AllLaneTypes, LaneTypeNames);

// The single-precision value of an exact double one.
float single(double exact) { return static_cast<float>(exact); }

// Two rounded products and one rounded sum; the doubles hold each product exactly.
float sum_of_products(float a, float b, float c, float d, double sign) {
  const float first = single(double{a} * double{b});
  const float second = single(double{c} * double{d});
  return single(double{first} + sign * double{second});
}

template <class V, class Op, class Expected>
void check(Op op, Expected expected) {
  Random random(7);
  for (int round = 0; round < 5000; ++round) {
    Complex a[V::kLanes], b[V::kLanes], out[V::kLanes];
    for (int i = 0; i < V::kLanes; ++i) {
      a[i] = {random.unit() * 1000.0f, random.unit() * 1000.0f};
      b[i] = {random.unit(), random.unit()};
    }
    store_pairs(out, op(V::load_pairs(a), V::load_pairs(b)));
    for (int i = 0; i < V::kLanes; ++i) {
      const Complex e = expected(a[i], b[i]);
      ASSERT_TRUE(same_spectra(&out[i], &e, 1));
    }
  }
}

TYPED_TEST(PairsOf, Sum) {
  check<TypeParam>(
      [](auto a, auto b) { return a + b; },
      [](Complex a, Complex b) {
        return Complex{single(double{a.re} + double{b.re}), single(double{a.im} + double{b.im})};
      });
}

TYPED_TEST(PairsOf, Difference) {
  check<TypeParam>(
      [](auto a, auto b) { return a - b; },
      [](Complex a, Complex b) {
        return Complex{single(double{a.re} - double{b.re}), single(double{a.im} - double{b.im})};
      });
}

TYPED_TEST(PairsOf, ProductRoundsEachProductThenTheSum) {
  check<TypeParam>([](auto a, auto b) { return a * b; },
                   [](Complex a, Complex b) {
                     return Complex{sum_of_products(a.re, b.re, a.im, b.im, -1.0),
                                    sum_of_products(a.re, b.im, a.im, b.re, 1.0)};
                   });
}

TYPED_TEST(PairsOf, ProductWithTheConjugate) {
  check<TypeParam>([](auto a, auto b) { return times_conj(a, b); },
                   [](Complex a, Complex b) {
                     return Complex{sum_of_products(a.re, b.re, a.im, b.im, 1.0),
                                    sum_of_products(a.im, b.re, a.re, b.im, -1.0)};
                   });
}

TYPED_TEST(PairsOf, ACopyIsExactAndIsGivenBack) {
  constexpr int kCount = TypeParam::kLanes;
  Complex from[kCount], to[kCount + 1], given[kCount];
  Random random(8);
  for (Complex& value : from) value = {random.any_float(), random.any_float()};
  to[kCount] = {7.0f, 7.0f};
  store_pairs(given, TypeParam::copy_pairs(to, from));
  EXPECT_TRUE(same_spectra(to, from, kCount));
  EXPECT_TRUE(same_spectra(given, from, kCount));
  EXPECT_EQ(to[kCount].re, 7.0f);
}

TYPED_TEST(PairsOf, ARealGainMultipliesBothParts) {
  check<TypeParam>(
      [](auto a, auto b) { return b.re * a; },
      [](Complex a, Complex b) {
        return Complex{single(double{b.re} * double{a.re}), single(double{b.re} * double{a.im})};
      });
}

}  // namespace
}  // namespace vekbf::test
