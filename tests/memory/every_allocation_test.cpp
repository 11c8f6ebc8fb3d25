// SPDX-License-Identifier: MIT
//
// Every operation that allocates, with its first allocation failing, then its second, and so on
// until it asks for no more: once, and with no memory from there on. How the unit tests count
// blocks is not used here: the walk ends by itself.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "fft/fft.h"
#include "noise/vad.h"
#include "realtime/build_kind.h"
#include "support/beam.h"
#include "support/failing_heap.h"
#include "support/quiet.h"

namespace vekbf::test {
namespace {

// Tries the operation, each time after `prepare`, until none of its allocations fails; returns how
// many failures that took. `judge` is told whether one failed, looks at what came of it, with
// memory again, and releases everything.
int failures_of(bool for_good, const std::function<void()>& prepare,
                const std::function<void()>& operation, const std::function<void(bool)>& judge) {
  const Quiet quiet;
  for (int k = 1; k < 1000; ++k) {
    SCOPED_TRACE("allocation " + std::to_string(k) + (for_good ? " and all after it" : ""));
    HeapWatch watch;
    prepare();
    heap.allocations = 0;
    heap.failing = k;
    heap.for_good = for_good;
    operation();
    const bool failed = heap.allocations >= k;
    heap.failing = 0;
    judge(failed);
    EXPECT_EQ(heap.live, 0) << "blocks were leaked, or released twice";
    if (!failed) return k - 1;
  }
  ADD_FAILURE() << "there is no end to it";
  return -1;
}

class EveryAllocation : public testing::TestWithParam<bool> {
 protected:
  int failures(const std::function<void()>& operation, const std::function<void(bool)>& judge) {
    return failures_of(
        GetParam(), [] {}, operation, judge);
  }
};

TEST_P(EveryAllocation, OfAPlan) {
  RealFftPlan* plan = nullptr;
  EXPECT_EQ(failures([&] { plan = fft_plan_alloc(512); },
                     [&](bool failed) {
                       EXPECT_EQ(plan == nullptr, failed);
                       free(plan);
                     }),
            1);
}

// A state that lacks something is refused whatever it is asked for, and can be released.
void expect_refused(FftState* state) {
  if (state == nullptr) return;
  EXPECT_EQ(state->initFlag, 0);
  float in[514];
  float out[514];
  for (const int32_t direction : {kForward, kInverse, 0}) {
    std::fill_n(in, 514, 3.0f);
    std::fill_n(out, 514, 5.0f);
    do_fft(state, in, out, direction);
    EXPECT_EQ(std::count(in, in + 514, 3.0f), 514);
    EXPECT_EQ(std::count(out, out + 514, 5.0f), 514);
  }
}

TEST_P(EveryAllocation, OfATransform) {
  for (const int32_t size : {2, 3, 64, 512}) {
    const FftInitParams params = {0, size, 0, 1};
    FftState* state = nullptr;
    EXPECT_EQ(failures([&] { state = fft_init(&params); },
                       [&](bool failed) {
                         if (failed) {
                           expect_refused(state);
                         } else {
                           EXPECT_EQ(state->initFlag, 1);
                         }
                         if (state != nullptr) fft_free(state);
                       }),
              5)
        << size;
  }
}

TEST_P(EveryAllocation, OfAnEstimator) {
  for (const int32_t bins : {1, 257}) {
    const Mcra2InitParams params = {16000, bins};
    Mcra2State* state = nullptr;
    EXPECT_EQ(failures([&] { state = mcra2_init(&params); },
                       [&](bool failed) {
                         EXPECT_EQ(state == nullptr, failed);
                         if (state != nullptr) mcra2_free(state);
                       }),
              12)
        << bins;
  }
}

TEST_P(EveryAllocation, OfADetector) {
  for (const int32_t bins : {1, 257}) {
    const VadInitParams params = {16000, 512, bins, 0.5f};
    VadState* state = nullptr;
    EXPECT_EQ(failures([&] { state = vad_init(&params); },
                       [&](bool failed) {
                         EXPECT_EQ(state == nullptr, failed);
                         if (state != nullptr) vad_free(state);
                       }),
              20)
        << bins;
  }
}

// Instances: what a block gives, and a report and a number of samples on the way.
std::vector<Block> use(VekBfHandle handle) {
  std::vector<Block> outputs;
  Random random(5);
  for (int b = 0; b < 5; ++b) {
    Block out(kHopSize, 7);
    EXPECT_EQ(VekBf_Run(handle, noise_block(random, 3).data(), out.data(), 60), VEK_BF_OK);
    outputs.push_back(out);
  }
  uint32_t samples = 0;
  EXPECT_EQ(VekBf_GetConfig(handle), VEK_BF_OK);
  EXPECT_EQ(VekBf_GetInputSamples(handle, &samples), VEK_BF_OK);
  EXPECT_EQ(samples, 384u);
  return outputs;
}

// What was learnt about the array outlives a configuration: forgotten here, so that instances with
// different pasts give the same.
void forget(VekBfHandle handle) {
  std::memset(static_cast<void*>(&handle->blockWeights), 0, sizeof handle->blockWeights);
}

std::vector<Block> of_a_new_instance(const VekBfInit& init) {
  const Quiet quiet;
  WorkBuffer buffer;
  const VekBfHandle handle = VekBf_Init(buffer.get(), &init);
  VekBf_SetConfig(handle, &kConfig);
  std::vector<Block> outputs = use(handle);
  VekBf_Free(handle);
  return outputs;
}

// A configuration that runs out of memory, the first one or one after blocks were played: the
// instance is used nevertheless, configured again with memory, and then is as good as new.
void walk_configurations(VekBfAlgorithm algorithm, bool again, bool for_good) {
  const VekBfInit init = array_of(3, algorithm);
  const std::vector<Block> expected = of_a_new_instance(init);
  const std::vector<Block> silence(5, Block(kHopSize));
  ASSERT_NE(expected, silence);

  WorkBuffer buffer;
  VekBfHandle handle = nullptr;
  uint32_t code = 0;
  const auto start = [&] {
    handle = VekBf_Init(buffer.get(), &init);
    if (!again) return;
    VekBf_SetConfig(handle, &kConfig);
    use(handle);
    forget(handle);
  };
  const auto configure = [&] { code = VekBf_SetConfig(handle, &kConfig); };
  const auto judge = [&](bool failed) {
    EXPECT_EQ(code, VEK_BF_OK);
    const bool transform = handle->fftState != nullptr && handle->fftState->initFlag == 1;
    EXPECT_EQ(transform && handle->vadState != nullptr, !failed);
    if (!transform) {
      expect_refused(handle->fftState);
      EXPECT_EQ(use(handle), silence);
    } else if (algorithm == VEK_FIXED_BF || !failed) {
      EXPECT_EQ(use(handle), expected);
    } else {
      use(handle);  // adaptive without a detector: not silent, but safe
    }
    forget(handle);
    EXPECT_EQ(VekBf_SetConfig(handle, &kConfig), VEK_BF_OK);
    EXPECT_EQ(use(handle), expected);
    EXPECT_EQ(VekBf_Free(handle), VEK_BF_OK);
  };
  EXPECT_EQ(failures_of(for_good, start, configure, judge), 25);
}

TEST_P(EveryAllocation, OfAFirstConfiguration) {
  for (const VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    walk_configurations(algorithm, false, GetParam());
  }
}

TEST_P(EveryAllocation, OfALaterConfiguration) {
  for (const VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    walk_configurations(algorithm, true, GetParam());
  }
}

// The walk notices an operation that keeps a block when an allocation fails.
TEST(EveryAllocationWalk, FindsALeak) {
  if (kSanitized) GTEST_SKIP() << "the sanitizer finds it too";
  void* first = nullptr;
  void* second = nullptr;
  EXPECT_NONFATAL_FAILURE(
      {
        failures_of(
            false, [] {},
            [&] {
              first = malloc(8);
              second = malloc(8);
            },
            [&](bool failed) {
              free(second);
              if (!failed) free(first);
            });
      },
      "blocks were leaked");
}

INSTANTIATE_TEST_SUITE_P(Memory, EveryAllocation, testing::Bool(),
                         [](const auto& chosen) { return chosen.param ? "ForGood" : "Once"; });

}  // namespace
}  // namespace vekbf::test
