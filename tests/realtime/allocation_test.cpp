// SPDX-License-Identifier: MIT
//
// VekBf_Run takes no memory from the heap, gives none back, and takes no lock.
#include <gtest/gtest.h>

#include <cstdlib>

#include "realtime/counted_calls.h"
#include "realtime/streams.h"
#include "support/quiet.h"

namespace vekbf::test {
namespace {

struct Calls {
  int heap;
  int locks;
};

// Calls made from within VekBf_Run over a whole stream, its first blocks included.
Calls calls_of(const Scene& scene) {
  std::vector<uint64_t> memory(kWorkBufferSize / sizeof(uint64_t));
  const VekBfHandle handle = VekBf_Init(memory.data(), &scene.init);
  VekBf_SetConfig(handle, &scene.config);
  Signal signal(scene.signal, scene.seed, channels_of(scene));
  AnglePath path(scene);
  std::vector<int16_t> in(static_cast<size_t>(kHopSize * channels_of(scene)));
  int16_t out[kHopSize];
  Calls calls{0, 0};
  for (int b = 0; b < scene.blocks; ++b) {
    signal.block(in.data());
    const int32_t angle = path.next();
    const Calls before{heap_calls, lock_calls};
    VekBf_Run(handle, in.data(), out, angle);
    calls.heap += heap_calls - before.heap;
    calls.locks += lock_calls - before.locks;
  }
  VekBf_Free(handle);
  return calls;
}

constexpr int kBlocks = kEmulated ? 25 : 500;

class Allocation : public testing::Test {
 protected:
  void SetUp() override {
    if (kSanitized) GTEST_SKIP() << "the sanitizer has a heap of its own";
  }
};

TEST_F(Allocation, CountersCount) {
  const int heap_before = heap_calls;
  void* volatile block = std::malloc(10);
  std::free(block);
  EXPECT_EQ(heap_calls, heap_before + 2);

  const int locks_before = lock_calls;
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_mutex_lock(&mutex);
  pthread_mutex_unlock(&mutex);
  EXPECT_EQ(lock_calls, locks_before + 1);

  // Configuring does allocate.
  const Quiet quiet;
  const Scene scene = silent_streams(1)[0];
  std::vector<uint64_t> memory(kWorkBufferSize / sizeof(uint64_t));
  const VekBfHandle handle = VekBf_Init(memory.data(), &scene.init);
  const int before = heap_calls;
  VekBf_SetConfig(handle, &scene.config);
  EXPECT_GT(heap_calls, before);
  VekBf_Free(handle);
}

TEST_F(Allocation, RunTouchesNeitherHeapNorLocks) {
  const Quiet quiet;
  for (const Scene& scene : silent_streams(kBlocks)) {
    const Calls calls = calls_of(scene);
    EXPECT_EQ(calls.heap, 0) << name_of(scene.signal) << scene.init.micNum;
    EXPECT_EQ(calls.locks, 0) << name_of(scene.signal) << scene.init.micNum;
  }
}

// The C library's stream has its buffer since the configuration printed its line.
TEST_F(Allocation, NorDoItsLines) {
  const Quiet quiet;
  for (const Scene& scene : speaking_streams(kBlocks)) {
    const Calls calls = calls_of(scene);
    EXPECT_EQ(calls.heap, 0) << scene.init.algorithm << scene.init.geometry;
    EXPECT_EQ(calls.locks, 0) << scene.init.algorithm << scene.init.geometry;
  }
}

}  // namespace
}  // namespace vekbf::test
