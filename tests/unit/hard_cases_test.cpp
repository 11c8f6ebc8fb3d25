// SPDX-License-Identifier: MIT
//
// The floats on which mathematics libraries may disagree, after rounding: what the library gives
// there is stated by number, and does not depend on the machine.
#include <gtest/gtest.h>

#include <cmath>
#include <span>

#include "math/log_rounded.h"
#include "math/phasor.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/hard_cases.h"

namespace vekbf::test {
namespace {

template <class V>
class HardCases : public ::testing::Test {};
TYPED_TEST_SUITE(HardCases, AllLaneTypes, LaneTypeNames);

// function(V) in every lane, for the stated arguments.
template <class V, class Function>
void expect_stated(std::span<const HardCase> cases, Function function) {
  for (const HardCase& hard : cases) {
    float lanes[V::kLanes];
    function(V::splat(hard.argument)).store(lanes);
    for (const float value : lanes) {
      EXPECT_PRED2(same_bits, value, hard.expected)
          << std::hexfloat << hard.argument << ", " << hard.distance << " units from a tie";
    }
  }
}

TYPED_TEST(HardCases, Cosine) {
  using V = TypeParam;
  expect_stated<V>(kHardCos, [](V x) { return phasor(x).re; });
  expect_stated<V>(kHardCos, [](V x) { return phasor(V::splat(0.0f) - x).re; });
}

TYPED_TEST(HardCases, Sine) {
  using V = TypeParam;
  expect_stated<V>(kHardSin, [](V x) { return V::splat(0.0f) - phasor(x).im; });
  expect_stated<V>(kHardSin, [](V x) { return phasor(V::splat(0.0f) - x).im; });
}

TYPED_TEST(HardCases, Logarithm) {
  using V = TypeParam;
  expect_stated<V>(kHardLog, [](V a) { return log_rounded(a); });
}

// A mathematics library that fails this rounds otherwise than glibc 2.36. The kernels do not call
// it there, but the plain forms and the frame's recursion do elsewhere.
TEST(HardCasesOfTheMachine, TheMathematicsLibraryOfThisMachineGivesThemToo) {
  for (const HardCase& hard : kHardCos) {
    const auto x = static_cast<double>(hard.argument);
    EXPECT_EQ(static_cast<float>(std::cos(x)), hard.expected) << std::hexfloat << hard.argument;
  }
  for (const HardCase& hard : kHardSin) {
    const auto x = static_cast<double>(hard.argument);
    EXPECT_EQ(static_cast<float>(std::sin(x)), hard.expected) << std::hexfloat << hard.argument;
  }
  for (const HardCase& hard : kHardLog) {
    EXPECT_EQ(log_rounded_plain(hard.argument), hard.expected) << std::hexfloat << hard.argument;
  }
}

}  // namespace
}  // namespace vekbf::test
