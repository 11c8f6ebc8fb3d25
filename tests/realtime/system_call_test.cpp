// SPDX-License-Identifier: MIT
//
// VekBf_Run asks nothing of the kernel but to write its stated lines. The streams run in a child
// process whose every other system call is its end.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdio>

#include "realtime/build_kind.h"
#include "realtime/streams.h"

namespace vekbf::test {
namespace {

enum class Allowed { kNothing, kWriting };

bool forbid_system_calls(Allowed allowed) {
  const auto writing =
      static_cast<unsigned>(allowed == Allowed::kWriting ? SYS_write : SYS_exit_group);
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 2, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, writing, 1, 0),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program = {static_cast<unsigned short>(std::size(filter)), filter};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

constexpr int kNoFilter = 77;

// The wait status of a child that runs `task` and ends with code 0, with standard output going
// nowhere.
template <class Prepare, class Task>
int status_of_child(Allowed allowed, Prepare&& prepare, Task&& task) {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
    auto prepared = prepare();
    if (!forbid_system_calls(allowed)) _exit(kNoFilter);
    task(prepared);
    syscall(SYS_exit_group, 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return status;
}

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
