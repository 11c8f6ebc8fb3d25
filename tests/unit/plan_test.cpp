// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <malloc.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <numbers>

#include "fft/fft_engine.h"
#include "reference/model.h"
#include "support/bits.h"
#include "support/failing_heap.h"
#include "support/transforms.h"

namespace vekbf::test {
namespace {

const char* bytes(const void* p) { return static_cast<const char*>(p); }

TEST(Plan, IsOneBlockWithItsPartsOneAfterTheOther) {
  for (const int32_t size : {2, 3, 4, 5, 7, 32, 40, 64, 65, 512, 4096}) {
    HeapWatch watch;
    RealFftPlan* plan = fft_plan_alloc(size);
    ASSERT_NE(plan, nullptr) << size;
    EXPECT_EQ(watch.allocations(), 1);
    EXPECT_EQ(plan->ncfft, size / 2);
    const char* factors = bytes(plan->factors);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(factors) % 8, 0u);
    EXPECT_GE(factors, bytes(plan) + sizeof(RealFftPlan));
    EXPECT_LT(factors, bytes(plan) + sizeof(RealFftPlan) + 8);
    EXPECT_EQ(bytes(plan->twiddles), factors + 64 * sizeof(int32_t));
    EXPECT_EQ(plan->superTwiddles, plan->twiddles + size / 2);
    EXPECT_EQ(plan->buffer, plan->superTwiddles + size / 2 / 2);
    // The scratch of N values, wherever it begins in the block, and 8 spare bytes belong to it.
    const size_t skipped = kScratchAlignment - sizeof(Complex);
    EXPECT_LE(bytes(plan->buffer + size) + skipped + 8, bytes(plan) + malloc_usable_size(plan));
    std::free(plan);
    EXPECT_EQ(watch.live(), 0) << "free releases all of it";
  }
}

TEST(Plan, HasTheFactorsOfHalfItsSize) {
  for (int32_t size = 2; size <= 600; ++size) {
    const Plan plan = plan_for(size);
    int32_t expected[kFactorSlots];
    ASSERT_EQ(fft_factor(size / 2, expected, 1), 0);
    const auto used = static_cast<size_t>(2 * expected[0] + 3);
    EXPECT_EQ(std::memcmp(plan->factors, expected, used * sizeof(int32_t)), 0) << size;
  }
}

TEST(Plan, FiveHundredAndTwelvePointsUse252Of256Twiddles) {
  const Plan plan = plan_for(512);
  for (int i = 0; i < 252; ++i) {
    const Complex w = plan->twiddles[i];
    EXPECT_NEAR(w.re * w.re + w.im * w.im, 1.0f, 3e-7f) << i;
  }
  for (int i = 252; i < 256; ++i) {
    EXPECT_EQ(plan->twiddles[i].re, 0.0f);
    EXPECT_EQ(plan->twiddles[i].im, 0.0f);
  }
}

// Phases are made of three rounded products; at most 3 turns of 6.3 with 2^-24 each.
constexpr double kPhaseError = 3 * 6.3 * 3 * 0x1p-24;

// Line by line in the order of execution: exp(-2 pi i jk / (p m)) at (k-1) m + j.
TEST(Plan, StageTwiddlesAreTheTurnsOfTheirStage) {
  for (const int32_t size : {32, 64, 80, 120, 512, 1024, 4096}) {
    const Plan plan = plan_for(size);
    const Complex* line = plan->twiddles;
    for (int32_t i = plan->factors[0] - 1; i >= 1; --i) {
      const int32_t p = plan->factors[2 * i];
      const int32_t m = plan->factors[2 * i + 1];
      for (int32_t k = 1; k < p; ++k) {
        for (int32_t j = 0; j < m; ++j) {
          const double phase = -2 * std::numbers::pi * j * k / (p * m);
          const Complex w = line[(k - 1) * m + j];
          ASSERT_NEAR(w.re, std::cos(phase), kPhaseError)
              << size << " " << i << " " << k << " " << j;
          ASSERT_NEAR(w.im, std::sin(phase), kPhaseError)
              << size << " " << i << " " << k << " " << j;
        }
      }
      line += (p - 1) * m;
    }
    EXPECT_LE(line, plan->superTwiddles);
  }
}

TEST(Plan, SuperTwiddlesStartAQuarterTurnOn) {
  for (const int32_t size : {4, 6, 32, 512, 4096}) {
    const Plan plan = plan_for(size);
    for (int32_t j = 1; j <= plan->ncfft / 2; ++j) {
      const double phase = -std::numbers::pi * (0.5 + static_cast<double>(j) / plan->ncfft);
      ASSERT_NEAR(plan->superTwiddles[j - 1].re, std::cos(phase), kPhaseError) << size << " " << j;
      ASSERT_NEAR(plan->superTwiddles[j - 1].im, std::sin(phase), kPhaseError) << size << " " << j;
    }
  }
}

TEST(Plan, EveryTableEqualsThePlainModelBitForBit) {
  for (int32_t size = 2; size <= 4096; size += size < 200 ? 1 : size < 2048 ? 255 : 1024) {
    const Plan plan = plan_for(size);
    const Plan model(reference::fft_plan_alloc(size));
    const auto half = static_cast<size_t>(size / 2);
    ASSERT_TRUE(same_spectra(plan->twiddles, model->twiddles, half)) << size;
    ASSERT_TRUE(same_spectra(plan->superTwiddles, model->superTwiddles, half / 2)) << size;
  }
}

TEST(Plan, NoneBelowTwoPoints) {
  for (const int32_t size : {1, 0, -1, -2, -512, std::numeric_limits<int32_t>::min()}) {
    HeapWatch watch;
    EXPECT_EQ(fft_plan_alloc(size), nullptr) << size;
    EXPECT_EQ(watch.live(), 0) << size;
  }
}

TEST(Plan, NullWhenTheBlockCannotBeAllocated) {
  HeapWatch watch(1);
  EXPECT_EQ(fft_plan_alloc(512), nullptr);
  EXPECT_EQ(watch.live(), 0);
}

// The heap of this test refuses more than a gigabyte; a size computed modulo 2^32 would be small.
TEST(Plan, NullForSizesThatNoHeapHolds) {
  for (const int32_t size : {0x7fffffff, 0x40000000, 306783379, 306783380, 613566757}) {
    HeapWatch watch;
    EXPECT_EQ(fft_plan_alloc(size), nullptr) << size;
    EXPECT_EQ(watch.live(), 0);
  }
}

}  // namespace
}  // namespace vekbf::test
