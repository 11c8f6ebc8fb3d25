// SPDX-License-Identifier: MIT
//
// What the front end allocates and releases, and what happens when memory runs out.
#include <gtest/gtest.h>

#include <cstdint>

#include "fft/fft.h"
#include "support/failing_heap.h"
#include "support/fft_states.h"

namespace vekbf::test {
namespace {

constexpr int kBlocks = 5;  // a state, its three arrays and its plan

TEST(FftMemory, ATransformAllocatesNothing) {
  const State state = make_state(512);
  Samples in = random_samples(512, 28);
  Spectrum bins(257);
  HeapWatch watch;
  do_fft(state.get(), in.data(), as_floats(bins.data()), kForward);
  do_fft(state.get(), as_floats(bins.data()), in.data(), kInverse);
  EXPECT_EQ(watch.allocations(), 0);
}

TEST(FftMemory, AStateIsFiveBlocksAndFreeReleasesThemWithoutAWord) {
  const FftInitParams params = {0, 512, 0, kHamming};
  FftState* state = nullptr;
  HeapWatch watch;
  testing::internal::CaptureStdout();
  const int before = watch.allocations();
  state = fft_init(&params);
  EXPECT_EQ(watch.allocations() - before, kBlocks);
  EXPECT_EQ(watch.live(), kBlocks);
  fft_free(state);
  EXPECT_EQ(watch.live(), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), kEnabledLine);
}

// Null, or a state that is refused and can be released.
void expect_unusable(FftState* state, bool expect_null) {
  if (expect_null) {
    EXPECT_EQ(state, nullptr);
    return;
  }
  ASSERT_NE(state, nullptr);
  EXPECT_NE(state->initFlag, 1);
  Refusal refusal;
  for (const int32_t direction : {kForward, kInverse, 0}) {
    EXPECT_EQ(refusal.call(state, direction),
              "[ALGO_MSG_ERR, do_fft] FFT work buffer hasn't been initialized\n");
  }
  refusal.expect_nothing_written();
  EXPECT_EQ(printed([&] { fft_free(state); }), "");
}

TEST(FftMemory, WhicheverAllocationFailsTheStateIsNullOrRefused) {
  for (int failing = 1; failing <= kBlocks; ++failing) {
    SCOPED_TRACE(failing);
    const FftInitParams params = {0, 512, 0, kHamming};
    FftState* state = nullptr;
    testing::internal::CaptureStdout();
    {
      HeapWatch watch(failing);
      state = fft_init(&params);
      EXPECT_EQ(watch.live(), state == nullptr ? 0 : watch.allocations() - 1);
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "no word of success";
    expect_unusable(state, failing == 1);
  }
}

// A C library may answer a request for nothing with null: that is no failure.
TEST(FftMemory, AFrameWithoutSamplesNeedsNoWindow) {
  for (int failing = 2; failing <= 4; ++failing) {
    const FftInitParams params = {0, 0, 0, kHamming};
    FftState* state = nullptr;
    testing::internal::CaptureStdout();
    HeapWatch watch(failing);
    state = fft_init(&params);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), kEnabledLine) << failing;
    ASSERT_NE(state, nullptr);
    EXPECT_EQ(state->initFlag, 1) << failing;
    fft_free(state);
  }
}

TEST(FftMemory, ReleasingAnUnusableStateLeavesNothingBehind) {
  for (int failing = 1; failing <= kBlocks; ++failing) {
    const FftInitParams params = {0, 512, 0, kHamming};
    HeapWatch watch(failing);
    FftState* state = fft_init(&params);
    if (state != nullptr) fft_free(state);
    EXPECT_EQ(watch.live(), 0) << failing;
  }
}

// The heap of this test refuses more than a gigabyte; nothing may be computed modulo 2^32 and no
// window may be written that is not there.
TEST(FftMemory, SizesThatNoHeapHoldsGiveAnUnusableState) {
  for (const int32_t size : {0x7fffffff, 0x7ffffffe, 0x40000000, 613566757}) {
    const FftInitParams params = {0, size, 0, kHamming};
    HeapWatch watch;
    FftState* state = fft_init(&params);
    ASSERT_NE(state, nullptr);
    EXPECT_EQ(state->initFlag, 0) << size;
    fft_free(state);
    EXPECT_EQ(watch.live(), 0) << size;
  }
}

}  // namespace
}  // namespace vekbf::test
