// SPDX-License-Identifier: MIT
//
// Every float that a row hands to the phasor, both signs, against the double-precision library
// functions; every float below its domain against the rule of rows that lie there as a whole; and
// every float beyond it. Takes about two minutes a thread on a desktop core.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "math/phasor.h"
#include "math/phasor_at.h"
#include "support/bits.h"
#include "support/every_float.h"

namespace vekbf {
namespace {

// A row whose last phase lies in the domain begins at a 256th of it.
constexpr float kSmallestOfARow = kPhasorTiny / 256;

// The stated sequence of operations beyond the domain is scalar, and the same on every machine: an
// emulator takes a share.
#ifdef VEKBF_EMULATED
constexpr uint32_t kStep = 61;
#else
constexpr uint32_t kStep = 1;
#endif

TEST(PhasorExhaustive, EveryFloatOfTheDomainAndOfRowsThatReachIt) {
  using V = simd::f32x4;
  for (const float sign : {1.0f, -1.0f}) {
    const auto mismatches = [sign](float* x) {
      for (int i = 0; i < V::kLanes; ++i) x[i] *= sign;
      Complex pairs[V::kLanes];
      store_pairs(pairs, phasor(V::load(x)));
      uint64_t bad = 0;
      for (int i = 0; i < V::kLanes; ++i) {
        const double phi = static_cast<double>(x[i]);
        const bool same = test::same_bits(pairs[i].re, static_cast<float>(std::cos(phi))) &&
                          test::same_bits(pairs[i].im, -static_cast<float>(std::sin(phi)));
        bad += same ? 0 : 1;
      }
      return bad;
    };
    EXPECT_EQ(test::for_every_float<V::kLanes>(kSmallestOfARow, kPhasorLimit, 1, mismatches), 0u);
  }
}

TEST(PhasorExhaustive, EveryFloatWhoseDoubleARowTakesFromIt) {
  using V = simd::f32x4;
  const float last = std::nextafter(kDoublingLimit, 0.0f);
  for (const float sign : {1.0f, -1.0f}) {
    const auto mismatches = [sign](float* x) {
      for (int i = 0; i < V::kLanes; ++i) x[i] *= sign;
      Complex pairs[V::kLanes];
      store_pairs(pairs, rounded(doubled(direction_of(reduced_phase(V::load(x))))));
      uint64_t bad = 0;
      for (int i = 0; i < V::kLanes; ++i) {
        const double phi = 2.0 * static_cast<double>(x[i]);
        const bool same = test::same_bits(pairs[i].re, static_cast<float>(std::cos(phi))) &&
                          test::same_bits(pairs[i].im, -static_cast<float>(std::sin(phi)));
        bad += same ? 0 : 1;
      }
      return bad;
    };
    EXPECT_EQ(test::for_every_float<V::kLanes>(kSmallestOfARow, last, 1, mismatches), 0u);
  }
}

// The limit is not caution: the rule fails beyond it.
TEST(PhasorExhaustive, BeyondTheLimitADoubledAngleDiffers) {
  using simd::f32x1;
  const float x = 0x1.33333p+12f;
  const auto value = rounded(doubled(direction_of(reduced_phase(f32x1::splat(x)))));
  const double phi = 2.0 * static_cast<double>(x);
  EXPECT_FALSE(test::same_bits(value.re.v[0], static_cast<float>(std::cos(phi))) &&
               test::same_bits(value.im.v[0], -static_cast<float>(std::sin(phi))));
}

TEST(PhasorExhaustive, EveryLargerFloat) {
  const float first = std::nextafter(kPhasorLimit, 1e9f);
  const auto mismatches = [](const float* phi) {
    const double x = static_cast<double>(*phi);
    const float cosine = static_cast<float>(std::cos(x));
    const float sine = static_cast<float>(std::sin(x));
    const Complex positive = phasor_at(*phi);
    const Complex negative = phasor_at(-*phi);
    const bool same = test::same_bits(positive.re, cosine) && test::same_bits(positive.im, -sine) &&
                      test::same_bits(negative.re, cosine) && test::same_bits(negative.im, sine);
    return uint64_t{same ? 0u : 1u};
  };
  EXPECT_EQ(test::for_every_float<1>(first, std::numeric_limits<float>::max(), kStep, mismatches),
            0u);
}

TEST(PhasorExhaustive, EverySmallerFloatFollowsTheTinyRule) {
  const float below = std::bit_cast<float>(std::bit_cast<uint32_t>(kPhasorTiny) - 1);
  const auto mismatches = [](const float* phi) {
    const double x = static_cast<double>(*phi);
    const bool follows = static_cast<float>(std::cos(x)) == 1.0f &&
                         test::same_bits(static_cast<float>(std::sin(x)), *phi);
    return uint64_t{follows ? 0u : 1u};
  };
  EXPECT_EQ(test::for_every_float<1>(0.0f, below, 1, mismatches), 0u);
}

}  // namespace
}  // namespace vekbf
