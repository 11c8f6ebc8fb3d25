// SPDX-License-Identifier: MIT
//
// What an instance allocates and releases, and what happens when memory runs out. The linker's
// --wrap sends every malloc, calloc and free of the library through the functions below.
#include <gtest/gtest.h>

#include <cstdlib>

#include "fft/fft.h"
#include "noise/vad.h"
#include "support/beam.h"
#include "support/records.h"

namespace {

// Blocks that were allocated while the ledger was open and are still alive.
struct Ledger {
  static constexpr int kSlots = 256;
  bool open = false;
  int calls = 0;
  int failing_call = 0;  // 1-based; 0 fails none
  bool fail_all_after = false;
  int frees = 0;
  void* live[kSlots] = {};

  bool refuses() {
    ++calls;
    return failing_call != 0 && (fail_all_after ? calls >= failing_call : calls == failing_call);
  }
  void* enter(void* block) {
    for (void*& slot : live) {
      if (slot != nullptr) continue;
      slot = block;
      return block;
    }
    std::abort();
  }
  void leave(void* block) {
    for (void*& slot : live) {
      if (slot != block) continue;
      slot = nullptr;
      ++frees;
      return;
    }
  }
  int alive() const {
    int count = 0;
    for (const void* slot : live) count += slot != nullptr;
    return count;
  }
};
Ledger ledger;

}  // namespace

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void __real_free(void* block);

void* __wrap_malloc(size_t size) {
  if (!ledger.open) return __real_malloc(size);
  return ledger.refuses() ? nullptr : ledger.enter(__real_malloc(size));
}
void* __wrap_calloc(size_t count, size_t size) {
  if (!ledger.open) return __real_calloc(count, size);
  return ledger.refuses() ? nullptr : ledger.enter(__real_calloc(count, size));
}
void __wrap_free(void* block) {
  if (block != nullptr) ledger.leave(block);
  __real_free(block);
}
}

namespace vekbf::test {
namespace {

const Block kSilence(kHopSize);

// Calls SetConfig with the ledger open and nothing else in between.
uint32_t set_config(VekBfHandle handle, const VekBfConfig& config = kConfig) {
  uint32_t code = 0;
  printed([&] {
    ledger.calls = 0;
    ledger.open = true;
    code = VekBf_SetConfig(handle, &config);
    ledger.open = false;
  });
  return code;
}

class Memory : public testing::Test {
 protected:
  void SetUp() override { ledger = Ledger{}; }
  void TearDown() override { EXPECT_EQ(ledger.alive(), 0) << "blocks were leaked"; }

  VekBfHandle init(VekBfAlgorithm algorithm, int32_t mics = 2) {
    const VekBfInit record = array_of(mics, algorithm);
    return VekBf_Init(buffer_.get(), &record);
  }
  void release(VekBfHandle handle) {
    printed([&] { EXPECT_EQ(VekBf_Free(handle), VEK_BF_OK); });
  }

  WorkBuffer buffer_;
};

TEST_F(Memory, AConfigurationAllocatesAndFreeReleasesAllOfIt) {
  VekBfHandle handle = init(VEK_ADAPTIVE_BF);
  EXPECT_EQ(set_config(handle), VEK_BF_OK);
  // The transform is five blocks; the detector a record and seven arrays; its estimator a record
  // and eleven arrays.
  EXPECT_EQ(ledger.calls, 5 + 8 + 12);
  EXPECT_EQ(ledger.alive(), 5 + 8 + 12);
  EXPECT_EQ(printed([&] { EXPECT_EQ(VekBf_Free(handle), VEK_BF_OK); }), "");
  EXPECT_EQ(ledger.frees, 5 + 8 + 12);
  EXPECT_EQ(ledger.alive(), 0);
}

TEST_F(Memory, ReconfigurationReleasesTheEarlierTransformAndDetector) {
  VekBfHandle handle = init(VEK_ADAPTIVE_BF);
  for (int call = 1; call <= 5; ++call) {
    EXPECT_EQ(set_config(handle), VEK_BF_OK);
    EXPECT_EQ(ledger.alive(), 25) << "configuration " << call;
  }
  release(handle);
}

TEST_F(Memory, ARefusedConfigurationAllocatesAndReleasesNothing) {
  VekBfHandle handle = init(VEK_FIXED_BF);
  EXPECT_EQ(set_config(handle, {2.0f, 1}), VEK_BF_ERR_VAD_THRESHOLD);
  EXPECT_EQ(ledger.calls, 0);
  EXPECT_EQ(set_config(handle), VEK_BF_OK);
  const int frees = ledger.frees;
  EXPECT_EQ(set_config(handle, {0.5f, 11}), VEK_BF_ERR_INTENSITY);
  EXPECT_EQ(ledger.calls, 0);
  EXPECT_EQ(ledger.frees, frees);
  EXPECT_EQ(ledger.alive(), 25);
  release(handle);
}

TEST_F(Memory, NoOtherCallAllocates) {
  for (VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    Random random(81);
    VekBfHandle handle = init(algorithm, 4);
    ASSERT_EQ(set_config(handle), VEK_BF_OK);
    std::vector<Block> in;
    for (int b = 0; b < 6; ++b) in.push_back(noise_block(random, 4));
    Block out(kHopSize);
    uint32_t samples = 0;
    ledger.calls = 0;
    ledger.frees = 0;
    ledger.open = true;
    for (const Block& block : in) VekBf_Run(handle, block.data(), out.data(), 45);
    VekBf_GetInputSamples(handle, &samples);
    ledger.open = false;
    EXPECT_EQ(ledger.calls, 0);
    EXPECT_EQ(ledger.frees, 0);
    release(handle);
  }
}

// Everything an instance may be asked for after memory ran out in its configuration.
void exercise(VekBfHandle handle, int32_t mics, std::vector<Block>* outputs) {
  Random random(82);
  printed([&] {
    for (int b = 0; b < 5; ++b) {
      Block out(kHopSize, 7);
      const Block in = noise_block(random, mics);
      EXPECT_EQ(VekBf_Run(handle, in.data(), out.data(), 60), VEK_BF_OK);
      outputs->push_back(out);
    }
    EXPECT_EQ(VekBf_GetConfig(handle), VEK_BF_OK);
  });
}

void expect_silence(const std::vector<Block>& outputs) {
  for (const Block& out : outputs) EXPECT_EQ(out, kSilence);
}

TEST_F(Memory, WithoutATransformEveryBlockIsRefusedIntoSilence) {
  for (VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    for (int k = 1; k <= 5; ++k) {
      SCOPED_TRACE(k);
      VekBfHandle handle = init(algorithm);
      ledger.failing_call = k;
      EXPECT_EQ(set_config(handle), VEK_BF_OK);
      EXPECT_TRUE(handle->fftState == nullptr || handle->fftState->initFlag != 1);
      EXPECT_NE(handle->vadState, nullptr);
      std::vector<Block> outputs;
      exercise(handle, 2, &outputs);
      expect_silence(outputs);
      release(handle);
      EXPECT_EQ(ledger.alive(), 0);
    }
  }
}

TEST_F(Memory, WithoutADetectorTheFixedBeamformerRunsAsEver) {
  std::vector<Block> expected;
  VekBfHandle handle = init(VEK_FIXED_BF);
  ASSERT_EQ(set_config(handle), VEK_BF_OK);
  exercise(handle, 2, &expected);
  release(handle);
  for (int k = 6; k <= 25; ++k) {
    SCOPED_TRACE(k);
    handle = init(VEK_FIXED_BF);
    ledger.failing_call = k;
    EXPECT_EQ(set_config(handle), VEK_BF_OK);
    std::vector<Block> outputs;
    exercise(handle, 2, &outputs);
    EXPECT_EQ(outputs, expected);
    release(handle);
    EXPECT_EQ(ledger.alive(), 0);
  }
}

TEST_F(Memory, AFailedDetectorIsNullOrRefusedByTheAdaptiveBeamformer) {
  for (int k = 6; k <= 25; ++k) {
    SCOPED_TRACE(k);
    VekBfHandle handle = init(VEK_ADAPTIVE_BF);
    ledger.failing_call = k;
    EXPECT_EQ(set_config(handle), VEK_BF_OK);
    EXPECT_EQ(handle->vadState, nullptr);
    EXPECT_EQ(handle->fftState->initFlag, 1);
    std::vector<Block> outputs;
    exercise(handle, 2, &outputs);
    Random random(83);
    const Block in = noise_block(random, 2);
    Block out(kHopSize);
    EXPECT_EQ(printed([&] { VekBf_Run(handle, in.data(), out.data(), 60); }),
              error_line("vad_run", "Vad handle is NULL"));
    release(handle);
    EXPECT_EQ(ledger.alive(), 0);
  }
}

TEST_F(Memory, EveryAllocationMayFailAndEveryLaterOneToo) {
  for (bool all_after : {false, true}) {
    for (VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
      for (int k = 1; k <= 25; ++k) {
        SCOPED_TRACE(k);
        VekBfHandle handle = init(algorithm);
        ledger.failing_call = k;
        ledger.fail_all_after = all_after;
        EXPECT_EQ(set_config(handle), VEK_BF_OK);
        std::vector<Block> outputs;
        exercise(handle, 2, &outputs);
        release(handle);
        EXPECT_EQ(ledger.alive(), 0);
        ledger = Ledger{};
      }
    }
  }
}

TEST_F(Memory, AReconfigurationThatRunsOutOfMemoryStillReleasesTheEarlierStates) {
  for (int k = 1; k <= 25; ++k) {
    SCOPED_TRACE(k);
    VekBfHandle handle = init(VEK_ADAPTIVE_BF);
    ASSERT_EQ(set_config(handle), VEK_BF_OK);
    ledger.failing_call = k;
    EXPECT_EQ(set_config(handle), VEK_BF_OK);
    EXPECT_LT(ledger.alive(), 25);
    std::vector<Block> outputs;
    exercise(handle, 2, &outputs);
    if (k <= 5) expect_silence(outputs);
    release(handle);
    EXPECT_EQ(ledger.alive(), 0);
    ledger = Ledger{};
  }
}

TEST_F(Memory, AConfigurationWithMemoryMakesTheInstanceWholeAgain) {
  std::vector<Block> expected;
  VekBfHandle handle = init(VEK_FIXED_BF);
  ASSERT_EQ(set_config(handle), VEK_BF_OK);
  exercise(handle, 2, &expected);
  release(handle);
  for (int k = 1; k <= 25; ++k) {
    SCOPED_TRACE(k);
    handle = init(VEK_FIXED_BF);
    ledger.failing_call = k;
    EXPECT_EQ(set_config(handle), VEK_BF_OK);
    ledger.failing_call = 0;
    EXPECT_EQ(set_config(handle), VEK_BF_OK);
    EXPECT_EQ(ledger.alive(), 25);
    std::vector<Block> outputs;
    exercise(handle, 2, &outputs);
    EXPECT_EQ(outputs, expected);
    release(handle);
  }
}

}  // namespace
}  // namespace vekbf::test
