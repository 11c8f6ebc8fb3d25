// SPDX-License-Identifier: MIT
//
// VekBf_Run asks nothing of the kernel but to write its stated lines. The streams run in a child
// process whose every other system call is its end.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>

#include "realtime/build_kind.h"
#include "realtime/forbidden_calls.h"
#include "realtime/streams.h"

namespace vekbf::test {
namespace {

constexpr int kBlocks = 1000;

// Configured instances and their input, ready to run.
struct Prepared {
  explicit Prepared(const std::vector<Scene>& scenes) : list(scenes) {
    for (const Scene& scene : list) {
      memory.emplace_back(kWorkBufferSize / sizeof(uint64_t));
      handles.push_back(VekBf_Init(memory.back().data(), &scene.init));
      VekBf_SetConfig(handles.back(), &scene.config);
      signals.emplace_back(scene.signal, scene.seed, channels_of(scene));
      paths.emplace_back(scene);
    }
    in.resize(kHopSize * VEK_BF_MAX_MICS);
    std::fflush(stdout);
  }
  void run() {
    for (size_t i = 0; i < list.size(); ++i) {
      for (int b = 0; b < list[i].blocks; ++b) {
        signals[i].block(in.data());
        VekBf_Run(handles[i], in.data(), out, paths[i].next());
      }
    }
  }

  std::vector<Scene> list;
  std::vector<std::vector<uint64_t>> memory;
  std::vector<VekBfHandle> handles;
  std::vector<Signal> signals;
  std::vector<AnglePath> paths;
  std::vector<int16_t> in;
  int16_t out[kHopSize];
};

class SystemCalls : public testing::Test {
 protected:
  void SetUp() override {
    if (kEmulated) GTEST_SKIP() << "the emulator does not offer the kernel's filter";
    if (kSanitized) GTEST_SKIP() << "the sanitizer makes system calls of its own";
  }
};

// A filter that lets everything pass would make the others meaningless.
TEST_F(SystemCalls, FilterEndsAProcessThatAsksTheKernel) {
  const int status = status_of_child(
      Allowed::kWriting, [] { return 0; }, [](int) { syscall(SYS_getppid); });
  ASSERT_TRUE(WIFSIGNALED(status)) << status;
  EXPECT_EQ(WTERMSIG(status), SIGSYS);

  const int writing = status_of_child(
      Allowed::kNothing, [] { return 0; }, [](int) { syscall(SYS_write, STDOUT_FILENO, "x", 1); });
  EXPECT_TRUE(WIFSIGNALED(writing)) << writing;
}

TEST_F(SystemCalls, RunMakesNone) {
  const int status = status_of_child(
      Allowed::kNothing, [] { return Prepared(silent_streams(kBlocks)); },
      [](Prepared& prepared) { prepared.run(); });
  ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(SystemCalls, LinesAreOnlyWritten) {
  const int status = status_of_child(
      Allowed::kWriting, [] { return Prepared(speaking_streams(kBlocks)); },
      [](Prepared& prepared) {
        prepared.run();
        std::fflush(stdout);
      });
  ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace vekbf::test
