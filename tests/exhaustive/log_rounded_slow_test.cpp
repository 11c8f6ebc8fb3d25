// SPDX-License-Identifier: MIT
//
// Every float of the logarithm's domain against the library function: 84 million, some seconds.
#include <gtest/gtest.h>

#include <cmath>

#include "math/log_rounded.h"
#include "support/bits.h"
#include "support/every_float.h"

namespace vekbf::test {
namespace {

TEST(LogRoundedExhaustive, EveryFloatOfTheDomain) {
  using V = simd::f32x4;
  const auto mismatches = [](const float* a) {
    float actual[V::kLanes];
    log_rounded(V::load(a)).store(actual);
    uint64_t bad = 0;
    for (int i = 0; i < V::kLanes; ++i) {
      bad += same_bits(actual[i], static_cast<float>(std::log(static_cast<double>(a[i])))) ? 0 : 1;
    }
    return bad;
  };
  EXPECT_EQ(for_every_float<V::kLanes>(kLogLowest, kLogHighest, 1, mismatches), 0u);
}

}  // namespace
}  // namespace vekbf::test
