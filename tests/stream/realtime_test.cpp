// SPDX-License-Identifier: MIT
//
// A stream that is open allocates nothing, takes no lock and asks nothing of the kernel, whatever
// it is fed; any thread may steer it.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <set>
#include <thread>

#include "realtime/counted_calls.h"
#include "realtime/forbidden_calls.h"
#include "stream/streams.h"

namespace vekbf::test {
namespace {

constexpr size_t kFrames = 20000;
constexpr size_t kChannels = 6;

// Everything that may be called while sound is running, on streams of both algorithms and both ways
// of time. Prepared, so that nothing but those calls is left to do.
class Rounds {
 public:
  Rounds() {
    std::mt19937 random(1);
    for (float& sample : in_) sample = static_cast<float>(random() % 2000) / 1000.0f - 1.0f;
    std::fill(in_.begin() + 30000, in_.begin() + 60000, 0.0f);
    in_[7] = NAN;
    in_[8] = INFINITY;
    for (const char* algorithm : {"fixed", "adaptive"}) {
      for (const char* keepTime : {"yes", "no"}) {
        const Settings settings = settings_of({{"array", "square:6cm"},
                                               {"channels", "1,2,6,5"},
                                               {"algorithm", algorithm},
                                               {"keep-time", keepTime},
                                               {"angle", *keepTime == 'y' ? "auto" : "60"}});
        lined_.push_back(open_stream(settings, kChannels));
        delayed_.push_back(open_stream(settings, kChannels));
      }
    }
  }
  void run() {
    for (const Stream& stream : lined_) line_up(stream.get());
    for (const Stream& stream : delayed_) delay(stream.get());
  }

 private:
  void line_up(VekStream* stream) {
    for (size_t done = 0; done < kFrames;) {
      VekStream_Steer(stream, static_cast<int32_t>(done));
      const size_t part = std::min({kFrames - done, 37 + VekStream_FramesToBlock(stream)});
      done += VekStream_WriteInterleaved(stream, VEK_STREAM_F32, &in_[done * kChannels], part);
      VekStream_Read(stream, VEK_STREAM_F64, out_, 1, VekStream_Available(stream));
    }
    VekStream_Finish(stream);
    while (VekStream_Read(stream, VEK_STREAM_S16, out_, 2, 100) > 0) {
    }
    VekStream_GetCounts(stream, &counts_);
  }
  void delay(VekStream* stream) {
    const void* channels[kChannels];
    for (size_t c = 0; c < kChannels; c++) channels[c] = &in_[c];
    for (size_t frames : {0u, 1u, 127u, 128u, 1000u, 5000u}) {
      VekStream_Steer(stream, VekStream_GetAngle(stream) + 1);
      VekStream_Process(stream, VEK_STREAM_F32, channels, kChannels, out_, 1, frames);
      VekStream_ProcessInterleaved(stream, VEK_STREAM_S16, in_.data(), out_, frames);
    }
    VekStream_GetCounts(stream, &counts_);
  }

  std::vector<float> in_ = std::vector<float>(kFrames * kChannels);
  double out_[8192];
  VekStreamCounts counts_;
  std::vector<Stream> lined_;
  std::vector<Stream> delayed_;
};

TEST(StreamRealtime, NeitherHeapNorLocksAreTouched) {
  if (kSanitized) GTEST_SKIP() << "the sanitizer has a heap of its own";
  const int before = heap_calls;
  Rounds rounds;
  EXPECT_GT(heap_calls, before) << "the counter does not count";
  const int heap = heap_calls;
  const int locks = lock_calls;
  rounds.run();
  EXPECT_EQ(heap_calls, heap);
  EXPECT_EQ(lock_calls, locks);
}

TEST(StreamRealtime, TheKernelIsNotAsked) {
  if (kEmulated) GTEST_SKIP() << "the emulator does not offer the kernel's filter";
  if (kSanitized) GTEST_SKIP() << "the sanitizer makes system calls of its own";
  const int planted = status_of_child(
      Allowed::kNothing, [] { return 0; }, [](int) { syscall(SYS_getppid); });
  ASSERT_TRUE(WIFSIGNALED(planted)) << "the filter lets calls pass";
  const int status = status_of_child(
      Allowed::kNothing, [] { return Rounds(); }, [](Rounds& rounds) { rounds.run(); });
  ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(StreamRealtime, AnyThreadMaySteerAndSeesAnglesThatWereSet) {
  const Settings settings = settings_of({{"array", "line:2:40mm"}});
  const Stream stream = open_stream(settings, 2);
  const Samples in = noise(2000, 2, 1);
  std::atomic<bool> done{false};
  std::thread hand([&] {
    for (int32_t angle = 100; !done; angle = angle == 199 ? 100 : angle + 1) {
      VekStream_Steer(stream.get(), angle);
      const int32_t seen = VekStream_GetAngle(stream.get());
      EXPECT_TRUE(seen == 90 || (seen >= 100 && seen < 200)) << seen;
    }
  });
  Samples out(2000);
  std::set<int32_t> seen;
  for (int i = 0; i < (kEmulated ? 20 : 500); i++) {
    VekStream_ProcessInterleaved(stream.get(), VEK_STREAM_S16, in.data(), out.data(), 2000);
    seen.insert(VekStream_GetAngle(stream.get()));
  }
  done = true;
  hand.join();
  // The other thread's angles arrived, and no others.
  EXPECT_GT(*seen.rbegin(), 90);
  EXPECT_LT(*seen.rbegin(), 200);
}

}  // namespace
}  // namespace vekbf::test
