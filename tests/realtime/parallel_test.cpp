// SPDX-License-Identifier: MIT
//
// Instances in threads of their own do not disturb each other.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <sstream>
#include <thread>

#include "realtime/build_kind.h"
#include "realtime/streams.h"
#include "support/quiet.h"

namespace vekbf::test {
namespace {

constexpr int kBlocks = kEmulated ? 20 : 200;

TEST(Parallel, InstancesInThreadsGiveTheirOwnSamples) {
  const Quiet quiet;
  const std::vector<Scene> streams = silent_streams(kBlocks);
  std::vector<SceneDigest> alone;
  for (size_t i = 0; i < streams.size(); i += 5) alone.push_back(digest_of(streams[i], kLibrary));
  std::vector<SceneDigest> together(alone.size());
  std::vector<std::thread> threads;
  for (size_t i = 0; i < alone.size(); ++i) {
    threads.emplace_back([&, i] { together[i] = digest_of(streams[5 * i], kLibrary); });
  }
  for (std::thread& thread : threads) thread.join();
  for (size_t i = 0; i < alone.size(); ++i) {
    EXPECT_EQ(together[i].output, alone[i].output) << i;
    EXPECT_EQ(together[i].states, alone[i].states) << i;
  }
}

// Instances are configured, reconfigured and released beside running ones.
TEST(Parallel, WholeLivesRunSideBySide) {
  const Quiet quiet;
  std::vector<std::thread> threads;
  for (uint64_t t = 0; t < 6; ++t) {
    threads.emplace_back([t] {
      for (uint64_t life = 0; life < 3; ++life) {
        Scene scene =
            random_scene(10 * t + life, VEK_ADAPTIVE_BF, 2, VEK_BF_UNIFORM_LINEAR_ARRAY, 16000, 12);
        scene.reconfigureAt = 6;
        const uint64_t first = digest_of(scene, kLibrary).output;
        EXPECT_EQ(digest_of(scene, kLibrary).output, first);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// Not allowed: for ThreadSanitizer to find.
TEST(Parallel, DISABLED_OneInstanceInTwoThreads) {
  const Quiet quiet;
  std::vector<uint64_t> memory(kWorkBufferSize / sizeof(uint64_t));
  const Scene scene = silent_streams(1)[0];
  const VekBfHandle handle = VekBf_Init(memory.data(), &scene.init);
  VekBf_SetConfig(handle, &scene.config);
  const std::vector<int16_t> in(static_cast<size_t>(kHopSize * channels_of(scene)), 1000);
  const auto play = [&] {
    int16_t out[kHopSize];
    for (int b = 0; b < 100; ++b) VekBf_Run(handle, in.data(), out, b);
  };
  std::thread other(play);
  play();
  other.join();
  VekBf_Free(handle);
}

// What threads print at the same time are whole lines. Without a buffer every call that prints is a
// moment at which another thread can come in between.
TEST(Parallel, LinesDoNotMix) {
  constexpr int kThreads = 4;
  constexpr int kLines = kEmulated ? 500 : 20000;
  testing::internal::CaptureStdout();
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  std::atomic<int> waiting{kThreads};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&waiting] {
      std::vector<uint64_t> memory(kWorkBufferSize / sizeof(uint64_t));
      const Scene scene = silent_streams(1)[0];
      const VekBfHandle handle = VekBf_Init(memory.data(), &scene.init);
      VekBf_SetConfig(handle, &scene.config);
      const std::vector<int16_t> zeros(kHopSize);
      int16_t out[kHopSize];
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      for (int i = 0; i < kLines; ++i) VekBf_Run(handle, zeros.data(), out, 0);
      VekBf_Free(handle);
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::istringstream lines(testing::internal::GetCapturedStdout());
  int zero_blocks = 0;
  int configurations = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line == "[ALGO_MSG_WRN, VekBf_Run] Zero Frame!") {
      ++zero_blocks;
    } else {
      ASSERT_EQ(line, "[ALGO_MSG_MSG, fft_init] NEON ENABLE");
      ++configurations;
    }
  }
  EXPECT_EQ(zero_blocks, kThreads * kLines);
  EXPECT_EQ(configurations, kThreads);
}

}  // namespace
}  // namespace vekbf::test
