// SPDX-License-Identifier: MIT
//
// What an instance allocates and releases, and what happens when memory runs out. The linker's
// --wrap sends every malloc, calloc and free of the library through the functions below.
#include <gtest/gtest.h>

#include "fft/fft.h"
#include "noise/vad.h"
#include "support/beam.h"
#include "support/failing_heap.h"

namespace vekbf::test {
namespace {

// The transform is five blocks; the detector a record and seven arrays; its estimator a record and
// eleven arrays.
constexpr int kTransformBlocks = 5;
constexpr int kBlocks = kTransformBlocks + 8 + 12;

const Block kSilence(kHopSize);

// Lets allocation number `failing` of the configuration fail, none if it is 0.
uint32_t set_config(VekBfHandle handle, int failing = 0, const VekBfConfig& config = kConfig) {
  uint32_t code = 0;
  heap.allocations = 0;
  heap.failing = failing;
  printed([&] { code = VekBf_SetConfig(handle, &config); });
  heap.failing = 0;
  return code;
}

class Memory : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(heap.live, 0) << "blocks were leaked"; }

  VekBfHandle init(VekBfAlgorithm algorithm, int32_t mics = 2) {
    const VekBfInit record = array_of(mics, algorithm);
    return VekBf_Init(buffer_.get(), &record);
  }
  void release(VekBfHandle handle) {
    printed([&] { EXPECT_EQ(VekBf_Free(handle), VEK_BF_OK); });
    EXPECT_EQ(heap.live, 0) << "blocks were leaked";
  }

  WorkBuffer buffer_;
  HeapWatch watch_;
};

TEST_F(Memory, AConfigurationAllocatesAndFreeReleasesAllOfIt) {
  VekBfHandle handle = init(VEK_ADAPTIVE_BF);
  EXPECT_EQ(set_config(handle), VEK_BF_OK);
  EXPECT_EQ(heap.allocations, kBlocks);
  EXPECT_EQ(heap.live, kBlocks);
  expect_printed("", [&] { EXPECT_EQ(VekBf_Free(handle), VEK_BF_OK); });
  EXPECT_EQ(heap.live, 0);
}

TEST_F(Memory, ReconfigurationReleasesTheEarlierTransformAndDetector) {
  VekBfHandle handle = init(VEK_ADAPTIVE_BF);
  for (int call = 1; call <= 5; ++call) {
    EXPECT_EQ(set_config(handle), VEK_BF_OK);
    EXPECT_EQ(heap.live, kBlocks) << "configuration " << call;
  }
  release(handle);
}

TEST_F(Memory, ARefusedConfigurationAllocatesAndReleasesNothing) {
  VekBfHandle handle = init(VEK_FIXED_BF);
  EXPECT_EQ(set_config(handle, 0, {2.0f, 1}), VEK_BF_ERR_VAD_THRESHOLD);
  EXPECT_EQ(heap.allocations, 0);
  EXPECT_EQ(set_config(handle), VEK_BF_OK);
  EXPECT_EQ(set_config(handle, 0, {0.5f, 11}), VEK_BF_ERR_INTENSITY);
  EXPECT_EQ(heap.allocations, 0);
  EXPECT_EQ(heap.live, kBlocks);
  release(handle);
}

TEST_F(Memory, NoOtherCallAllocatesOrReleases) {
  for (VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    Random random(81);
    VekBfHandle handle = init(algorithm, 4);
    ASSERT_EQ(set_config(handle), VEK_BF_OK);
    Block out(kHopSize);
    uint32_t samples = 0;
    heap.allocations = 0;
    for (int b = 0; b < 6; ++b) {
      VekBf_Run(handle, noise_block(random, 4).data(), out.data(), 45);
    }
    VekBf_GetInputSamples(handle, &samples);
    printed([&] { VekBf_GetConfig(handle); });
    EXPECT_EQ(heap.allocations, 0);
    EXPECT_EQ(heap.live, kBlocks);
    release(handle);
  }
}

// Everything an instance may be asked for after memory ran out in its configuration.
std::vector<Block> exercise(VekBfHandle handle) {
  std::vector<Block> outputs;
  Random random(82);
  printed([&] {
    for (int b = 0; b < 5; ++b) {
      Block out(kHopSize, 7);
      const Block in = noise_block(random, 2);
      EXPECT_EQ(VekBf_Run(handle, in.data(), out.data(), 60), VEK_BF_OK);
      outputs.push_back(out);
    }
    EXPECT_EQ(VekBf_GetConfig(handle), VEK_BF_OK);
  });
  return outputs;
}

const std::vector<Block> kSilentOutputs(5, kSilence);

TEST_F(Memory, WithoutATransformEveryBlockIsRefusedIntoSilence) {
  for (VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    for (int k = 1; k <= kTransformBlocks; ++k) {
      SCOPED_TRACE(k);
      VekBfHandle handle = init(algorithm);
      EXPECT_EQ(set_config(handle, k), VEK_BF_OK);
      EXPECT_TRUE(handle->fftState == nullptr || handle->fftState->initFlag != 1);
      EXPECT_NE(handle->vadState, nullptr);
      EXPECT_EQ(exercise(handle), kSilentOutputs);
      release(handle);
    }
  }
}

TEST_F(Memory, WithoutADetectorTheFixedBeamformerRunsAsEver) {
  VekBfHandle handle = init(VEK_FIXED_BF);
  ASSERT_EQ(set_config(handle), VEK_BF_OK);
  const std::vector<Block> expected = exercise(handle);
  EXPECT_NE(expected, kSilentOutputs);
  release(handle);
  for (int k = kTransformBlocks + 1; k <= kBlocks; ++k) {
    SCOPED_TRACE(k);
    handle = init(VEK_FIXED_BF);
    EXPECT_EQ(set_config(handle, k), VEK_BF_OK);
    EXPECT_EQ(exercise(handle), expected);
    release(handle);
  }
}

TEST_F(Memory, WithoutADetectorTheAdaptiveBeamformerPrintsALinePerBlock) {
  for (int k = kTransformBlocks + 1; k <= kBlocks; ++k) {
    SCOPED_TRACE(k);
    VekBfHandle handle = init(VEK_ADAPTIVE_BF);
    EXPECT_EQ(set_config(handle, k), VEK_BF_OK);
    EXPECT_EQ(handle->vadState, nullptr);
    EXPECT_EQ(handle->fftState->initFlag, 1);
    exercise(handle);
    Random random(83);
    const Block in = noise_block(random, 2);
    Block out(kHopSize);
    expect_printed(error_line("vad_run", "Vad handle is NULL"),
                   [&] { VekBf_Run(handle, in.data(), out.data(), 60); });
    release(handle);
  }
}

TEST_F(Memory, WithoutAnyMemoryAtAllTheInstanceIsSilentAndSafe) {
  for (VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    VekBfHandle handle = init(algorithm);
    heap.largest = 0;
    EXPECT_EQ(set_config(handle), VEK_BF_OK);
    heap.largest = 1 << 30;
    EXPECT_EQ(heap.live, 0);
    EXPECT_EQ(exercise(handle), kSilentOutputs);
    release(handle);
  }
}

TEST_F(Memory, AReconfigurationThatRunsOutOfMemoryStillReleasesTheEarlierStates) {
  for (VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    for (int k = 1; k <= kBlocks; ++k) {
      SCOPED_TRACE(k);
      VekBfHandle handle = init(algorithm);
      ASSERT_EQ(set_config(handle), VEK_BF_OK);
      EXPECT_EQ(set_config(handle, k), VEK_BF_OK);
      EXPECT_LT(heap.live, kBlocks);
      const std::vector<Block> outputs = exercise(handle);
      EXPECT_TRUE(k > kTransformBlocks || outputs == kSilentOutputs);
      release(handle);
    }
  }
}

TEST_F(Memory, AConfigurationWithMemoryMakesTheInstanceWholeAgain) {
  VekBfHandle handle = init(VEK_FIXED_BF);
  ASSERT_EQ(set_config(handle), VEK_BF_OK);
  const std::vector<Block> expected = exercise(handle);
  release(handle);
  for (int k = 1; k <= kBlocks; ++k) {
    SCOPED_TRACE(k);
    handle = init(VEK_FIXED_BF);
    EXPECT_EQ(set_config(handle, k), VEK_BF_OK);
    EXPECT_EQ(set_config(handle), VEK_BF_OK);
    EXPECT_EQ(heap.live, kBlocks);
    EXPECT_EQ(exercise(handle), expected);
    release(handle);
  }
}

}  // namespace
}  // namespace vekbf::test
