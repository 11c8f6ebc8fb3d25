// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

#include "fft/fft_engine.h"
#include "reference/model.h"

namespace vekbf::test {
namespace {

constexpr int32_t kUnwritten = -77;

struct Factors {
  int32_t result;
  std::array<int32_t, kFactorSlots> slots;
};

Factors factor(int32_t n, int32_t flags) {
  Factors f;
  f.slots.fill(kUnwritten);
  f.result = fft_factor(n, f.slots.data(), flags);
  return f;
}

// The whole list, what was not written included.
void expect_list(int32_t n, int32_t flags, const std::vector<int32_t>& expected) {
  const Factors f = factor(n, flags);
  EXPECT_EQ(f.result, 0);
  for (size_t i = 0; i < f.slots.size(); ++i) {
    EXPECT_EQ(f.slots[i], i < expected.size() ? expected[i] : kUnwritten)
        << "slot " << i << " of " << n << " with flags " << flags;
  }
}

TEST(Factor, TheSystemSizeGivesFourStagesOfRadix4) {
  expect_list(256, 1, {4, 64, 4, 64, 4, 16, 4, 4, 4, 1, 0});
}

TEST(Factor, TwentyFourAndFortyKeepAnEightForTheEnd) {
  expect_list(24, 1, {2, 3, 3, 8, 8, 1, 1});
  expect_list(40, 1, {2, 5, 5, 8, 8, 1, 1});
}

TEST(Factor, EightIsOneStage) { expect_list(8, 1, {1, 1, 8, 1, 0}); }

TEST(Factor, WithoutFlagsNoEightIsChosen) {
  expect_list(8, 0, {2, 4, 4, 2, 2, 1, 0});
  expect_list(24, 0, {3, 8, 4, 6, 2, 3, 3, 1, 1});
  expect_list(40, 0, {3, 8, 4, 10, 2, 5, 5, 1, 1});
}

TEST(Factor, TheSecondFlagTakesEightWhereverItDivides) {
  expect_list(256, 2, {3, 64, 8, 32, 8, 4, 4, 1, 0});
  expect_list(48, 2, {3, 16, 8, 6, 2, 3, 3, 1, 1});
}

TEST(Factor, TheFirstFlagComesBeforeTheSecond) {
  expect_list(24, 3, {2, 3, 3, 8, 8, 1, 1});
  expect_list(192, 3, {3, 24, 8, 24, 3, 8, 8, 1, 1});
}

TEST(Factor, FiveComesBeforeThree) { expect_list(15, 1, {2, 5, 5, 3, 3, 1, 1}); }

TEST(Factor, ALeftoverFactorIsItsOwnRadixAndEndsTheList) {
  expect_list(7, 1, {1, 1, 7, 1, 1});
  expect_list(49, 1, {1, 1, 49, 1, 1});
  expect_list(2 * 77, 1, {2, 2, 2, 77, 77, 1, 1});
}

TEST(Factor, OneHasNoStages) { expect_list(1, 1, {0, 1, 0}); }

TEST(Factor, NothingBelowOneIsFactoredOrWritten) {
  for (const int32_t n : {0, -1, -256, std::numeric_limits<int32_t>::min()}) {
    const Factors f = factor(n, 1);
    EXPECT_EQ(f.result, -1) << n;
    for (const int32_t slot : f.slots) EXPECT_EQ(slot, kUnwritten) << n;
  }
}

TEST(Factor, ANullListFails) {
  EXPECT_EQ(fft_factor(256, nullptr, 1), -1);
  EXPECT_EQ(fft_factor(0, nullptr, 1), -1);
}

// More than 21 stages cannot be reached: these are the most that 32 bits hold.
TEST(Factor, TheLongestListsFit) {
  int32_t power_of_three = 1;
  for (int i = 0; i < 19; ++i) power_of_three *= 3;
  const Factors threes = factor(power_of_three, 1);
  EXPECT_EQ(threes.result, 0);
  EXPECT_EQ(threes.slots[0], 19);
  EXPECT_EQ(threes.slots[2 * 19 + 2], 1);
  const Factors mixed = factor(4 * (power_of_three / 9), 1);
  EXPECT_EQ(mixed.slots[0], 18);
  const Factors twos = factor(1 << 30, 1);
  EXPECT_EQ(twos.result, 0);
  EXPECT_EQ(twos.slots[0], 15);
  const Factors prime = factor(std::numeric_limits<int32_t>::max(), 1);
  EXPECT_EQ(prime.slots[0], 1);
  EXPECT_EQ(prime.slots[2], std::numeric_limits<int32_t>::max());
}

// What a list must be, whatever the order of preference.
void expect_consistent(const Factors& f, int32_t n) {
  const int32_t stages = f.slots[0];
  int32_t remaining = n;
  bool mixed = false;
  for (int32_t i = 1; i <= stages; ++i) {
    const auto at = static_cast<size_t>(2 * i);
    const int32_t p = f.slots[at];
    ASSERT_GT(p, 1);
    ASSERT_EQ(remaining % p, 0);
    remaining /= p;
    ASSERT_EQ(f.slots[at + 1], remaining);
    mixed = mixed || (p != 2 && p != 4 && p != 8);
  }
  ASSERT_EQ(remaining, 1);
  const auto last = static_cast<size_t>(2 * stages);
  ASSERT_EQ(f.slots[1], stages == 0 ? n : n / f.slots[last]);
  ASSERT_EQ(f.slots[last + 2], mixed ? 1 : 0);
  for (size_t i = last + 3; i < f.slots.size(); ++i) ASSERT_EQ(f.slots[i], kUnwritten);
}

TEST(Factor, EveryListMultipliesUpAndEqualsThePlainModel) {
  for (int32_t flags = 0; flags < 4; ++flags) {
    for (int32_t n = 1; n <= 5000; ++n) {
      SCOPED_TRACE(testing::Message() << n << " with flags " << flags);
      const Factors f = factor(n, flags);
      ASSERT_EQ(f.result, 0);
      expect_consistent(f, n);
      std::array<int32_t, kFactorSlots> model;
      model.fill(kUnwritten);
      ASSERT_EQ(reference::fft_factor(n, model.data(), flags), 0);
      ASSERT_EQ(f.slots, model);
      if (testing::Test::HasFatalFailure()) return;
    }
  }
}

}  // namespace
}  // namespace vekbf::test
