// SPDX-License-Identifier: MIT
//
// The blocks that the library itself takes, each against a protected page at either end: nothing of
// it reads or writes beyond them. On every machine, also where no sanitizer goes.
#include <gtest/gtest.h>

#include <vector>

#include "memory/guarded_heap.h"
#include "noise/vad.h"
#include "realtime/build_kind.h"
#include "support/quiet.h"
#include "vectors/library_engine.h"

namespace vekbf::test {
namespace {

constexpr int kBlocks = kEmulated ? 8 : 40;

class GuardedBlocks : public testing::TestWithParam<Guard> {
 protected:
  const Quiet quiet_;
};

TEST_P(GuardedBlocks, OfInstances) {
  for (const VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    for (int32_t mics = 0; mics <= VEK_BF_MAX_MICS; ++mics) {
      Scene scene = random_scene(static_cast<uint64_t>(21 + mics), algorithm, mics,
                                 static_cast<VekBfGeometry>(mics % 2), 16000, kBlocks);
      scene.signal = SignalKind::kTalker;
      scene.reconfigureAt = kBlocks / 2;
      scene.later = {0.4f, 3};
      const SceneDigest plain = digest_of(scene, kLibrary);
      const GuardedHeap heap(GetParam());
      const SceneDigest guarded = digest_of(scene, kLibrary);
      EXPECT_GE(GuardedHeap::most(), 25u) << "the instance's blocks were not guarded";
      EXPECT_EQ(guarded.output, plain.output) << mics;
      EXPECT_EQ(guarded.states, plain.states) << mics;
    }
  }
}

TEST_P(GuardedBlocks, OfTransforms) {
  for (const int32_t size : {-1, 0, 1, 2, 3, 5, 8, 31, 32, 63, 64, 65, 127, 128, 500, 512, 1024}) {
    for (int32_t window = 0; window < 4; ++window) {
      const GuardedHeap heap(GetParam());
      const FftInitParams params = {0, size, 0, window};
      FftState* state = fft_init(&params);
      ASSERT_NE(state, nullptr);
      const size_t samples = size < 0 ? 0 : static_cast<size_t>(size);
      Guarded in(samples * sizeof(float), GetParam());
      Guarded bins((samples / 2 + 1) * sizeof(Complex), GetParam());
      if (size >= 2) {
        for (size_t i = 0; i < samples; ++i) in.as<float>()[i] = static_cast<float>(i);
        do_fft(state, in.as<float>(), bins.as<float>(), kForward);
        do_fft(state, bins.as<float>(), in.as<float>(), kInverse);
      }
      fft_free(state);
    }
  }
}

TEST_P(GuardedBlocks, OfDetectors) {
  for (const int32_t bins : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 255, 256, 257}) {
    const GuardedHeap heap(GetParam());
    const VadInitParams params = {16000, 512, bins, 0.5f};
    VadState* state = vad_init(&params);
    ASSERT_NE(state, nullptr);
    const size_t count = bins < 0 ? 0 : static_cast<size_t>(bins);
    Guarded power(count * sizeof(float), GetParam());
    for (int frame = 0; frame < 4; ++frame) {
      for (size_t k = 0; k < count; ++k) power.as<float>()[k] = static_cast<float>(1 + k);
      vad_run(state, power.as<float>());
    }
    vad_free(state);
  }
}

INSTANTIATE_TEST_SUITE_P(Heap, GuardedBlocks, testing::Values(Guard::kBefore, Guard::kBehind),
                         [](const auto& chosen) {
                           return chosen.param == Guard::kBefore ? "PageBefore" : "PageBehind";
                         });

// The guards do guard: one float beyond an array of the transform, or before it.
TEST(GuardedHeap, OneFloatBeyondABlockIsAFault) {
  for (const Guard guard : {Guard::kBefore, Guard::kBehind}) {
    const Quiet quiet;
    const GuardedHeap heap(guard);
    const FftInitParams params = {0, 512, 0, 1};
    FftState* state = fft_init(&params);
    volatile float* window = state->window;
    EXPECT_TRUE(faults([&] { window[guard == Guard::kBefore ? -1 : 512] = 1.0f; }));
    EXPECT_FALSE(faults([&] { window[guard == Guard::kBefore ? 0 : 511] = 1.0f; }));
    fft_free(state);
  }
}

}  // namespace
}  // namespace vekbf::test
