// SPDX-License-Identifier: MIT
#include "fft/window.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "support/printed.h"

namespace vekbf::test {
namespace {

constexpr float kGuard = 99.0f;

struct Window {
  std::vector<float> weights;
  std::vector<float> squares;
  std::string text;
};

// With a guard before and after.
Window fill(int32_t count, int32_t type, bool symmetric) {
  const auto size = static_cast<size_t>(count < 0 ? 0 : count) + 2;
  Window w{std::vector<float>(size, kGuard), std::vector<float>(size, kGuard), ""};
  w.text = printed([&] {
    fft::fill_window(w.weights.data() + 1, w.squares.data() + 1, count, type, symmetric);
  });
  EXPECT_EQ(w.weights.front(), kGuard);
  EXPECT_EQ(w.weights.back(), kGuard);
  EXPECT_EQ(w.squares.front(), kGuard);
  EXPECT_EQ(w.squares.back(), kGuard);
  return w;
}

TEST(Window, FollowsTheTextbookShapes) {
  constexpr double kPi = std::numbers::pi;
  for (const bool symmetric : {false, true}) {
    const int32_t count = 200;
    const Window power = fill(count, 0, symmetric), hamming = fill(count, 1, symmetric);
    const Window hann = fill(count, 2, symmetric), rectangular = fill(count, 3, symmetric);
    const double span = symmetric ? count - 1 : count;
    for (int32_t i = 0; i < count; ++i) {
      const auto at = static_cast<size_t>(i + 1);
      const double sine = std::sin(kPi * i / span);
      const double end_to_end = std::sin(kPi * i / (count - 1));
      EXPECT_NEAR(power.weights[at], std::pow(end_to_end * end_to_end, 0.85), 1e-7);
      EXPECT_NEAR(hamming.weights[at], 0.08 + 0.92 * sine * sine, 1e-7);
      EXPECT_NEAR(hann.weights[at], sine * sine, 1e-7);
      EXPECT_EQ(rectangular.weights[at], 1.0f);
      for (const Window* w : {&power, &hamming, &hann, &rectangular}) {
        EXPECT_EQ(w->squares[at], w->weights[at] * w->weights[at]);
        EXPECT_EQ(w->text, "");
      }
    }
  }
}

// The window of an instance. No weight lies near a point half way between two floats: whatever the
// last bits of the cosine are, of this library's or of a C library's, the floats are the same.
TEST(Window, OfAnInstanceDependsOnNoLastBitOfTheCosine) {
  constexpr int32_t kCount = 512;
  constexpr double kLastBits = 0x1p-46;  // more than 64 units of the largest cosine
  const Window window = fill(kCount, 1, false);
  for (int32_t i = 0; i < kCount; ++i) {
    const double weight = 0.54 - std::cos((i * 6.283185307179586) / kCount) * 0.46;
    const float expected = window.weights[static_cast<size_t>(i + 1)];
    EXPECT_EQ(static_cast<float>(weight - kLastBits), expected) << i;
    EXPECT_EQ(static_cast<float>(weight + kLastBits), expected) << i;
  }
}

TEST(Window, OfNoPointsTouchesNothingAndSaysNothing) {
  for (const int32_t count : {0, -1, -512}) {
    for (const int32_t type : {0, 1, 2, 3, 9}) EXPECT_EQ(fill(count, type, false).text, "");
  }
}

TEST(Window, OfAnUnknownTypeIsZeroAndSaysSoAtEveryPoint) {
  for (const int32_t type : {-1, 4, 7, INT32_MAX, INT32_MIN}) {
    const Window w = fill(3, type, false);
    const std::string line = "[ALGO_MSG_ERR, fft_init] Error window type\n";
    EXPECT_EQ(w.text, line + line + line);
    for (size_t i = 1; i <= 3; ++i) {
      EXPECT_EQ(w.weights[i], 0.0f);
      EXPECT_EQ(w.squares[i], 0.0f);
    }
  }
}

// A single point has no span: the shapes that divide by it give not-a-number, as their formulas do.
TEST(Window, OfOnePointFollowsItsFormulaEvenThroughZeroOverZero) {
  EXPECT_TRUE(std::isnan(fill(1, 0, false).weights[1]));
  EXPECT_TRUE(std::isnan(fill(1, 1, true).weights[1]));
  EXPECT_TRUE(std::isnan(fill(1, 2, true).weights[1]));
  EXPECT_FLOAT_EQ(fill(1, 1, false).weights[1], 0.08f);
  EXPECT_EQ(fill(1, 2, false).weights[1], 0.0f);
  EXPECT_EQ(fill(1, 3, true).weights[1], 1.0f);
}

}  // namespace
}  // namespace vekbf::test
