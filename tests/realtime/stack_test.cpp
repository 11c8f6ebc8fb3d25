// SPDX-License-Identifier: MIT
//
// The stack that VekBf_Run needs, from its caller's frame down: measured on a painted stack.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>

#include "realtime/build_kind.h"
#include "realtime/streams.h"
#include "support/quiet.h"

namespace vekbf::test {
namespace {

constexpr size_t kStackSize = 1 << 20;
constexpr uint8_t kPaint = 0xa5;
constexpr size_t kLimit = 16 * 1024;

struct Job {
  const Scene* scene;
  const uint8_t* stack;
  size_t used;
};

__attribute__((noinline)) void run_blocks(const Scene& scene, VekBfHandle handle, int16_t* in,
                                          int16_t* out) {
  Signal signal(scene.signal, scene.seed, channels_of(scene));
  AnglePath path(scene);
  for (int b = 0; b < scene.blocks; ++b) {
    signal.block(in);
    VekBf_Run(handle, in, out, path.next());
  }
}

// Wherever the thread's start has left its marks, they are repainted below this frame before the
// blocks run.
__attribute__((noinline)) void* measure(void* argument) {
  Job& job = *static_cast<Job*>(argument);
  std::vector<uint64_t> memory(kWorkBufferSize / sizeof(uint64_t));
  const VekBfHandle handle = VekBf_Init(memory.data(), &job.scene->init);
  VekBf_SetConfig(handle, &job.scene->config);
  std::vector<int16_t> in(kHopSize * VEK_BF_MAX_MICS);
  std::vector<int16_t> out(kHopSize);

  const auto* here = static_cast<const uint8_t*>(__builtin_frame_address(0));
  // Some room for what lies between here and the callee: this function's own locals and calls.
  auto* paint_end = const_cast<uint8_t*>(here) - 1024;
  std::fill(const_cast<uint8_t*>(job.stack), paint_end, kPaint);
  run_blocks(*job.scene, handle, in.data(), out.data());
  const uint8_t* lowest =
      std::find_if(job.stack, here, [](uint8_t byte) { return byte != kPaint; });
  job.used = static_cast<size_t>(here - lowest);
  VekBf_Free(handle);
  return nullptr;
}

size_t stack_of(const Scene& scene) {
  void* stack =
      mmap(nullptr, kStackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  EXPECT_EQ(pthread_attr_setstack(&attributes, stack, kStackSize), 0);
  Job job{&scene, static_cast<const uint8_t*>(stack), 0};
  pthread_t thread;
  EXPECT_EQ(pthread_create(&thread, &attributes, measure, &job), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  munmap(stack, kStackSize);
  return job.used;
}

size_t worst_of(const std::vector<Scene>& streams) {
  size_t worst = 0;
  for (const Scene& scene : streams) worst = std::max(worst, stack_of(scene));
  return worst;
}

class Stack : public testing::Test {
 protected:
  void SetUp() override {
    if (kSanitized || !kOptimised) GTEST_SKIP() << "frames of this build are larger on purpose";
  }
};

constexpr int kBlocks = kEmulated ? 10 : 100;

TEST_F(Stack, RunNeedsAtMost16Kilobytes) {
  size_t used = 0;
  {
    const Quiet quiet;
    used = worst_of(silent_streams(kBlocks));
  }
  RecordProperty("bytes", static_cast<int>(used));
  std::printf("stack used by a block: %u bytes\n", static_cast<unsigned>(used));
  // Frames hold a spectrum and its 512 samples at least: less would mean nothing was measured.
  EXPECT_GT(used, 4000u);
  EXPECT_LE(used, kLimit);
}

TEST_F(Stack, SoDoItsLines) {
  size_t used = 0;
  {
    const Quiet quiet;
    used = worst_of(speaking_streams(kBlocks));
  }
  std::printf("stack used by a block that prints: %u bytes\n", static_cast<unsigned>(used));
  EXPECT_GT(used, 1000u);
  EXPECT_LE(used, kLimit);
}

}  // namespace
}  // namespace vekbf::test
