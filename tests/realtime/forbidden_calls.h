// SPDX-License-Identifier: MIT
//
// A child process whose every system call is its end.
#pragma once

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <iterator>

namespace vekbf::test {

enum class Allowed { kNothing, kWriting };

inline bool forbid_system_calls(Allowed allowed) {
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

inline constexpr int kNoFilter = 77;

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

}  // namespace vekbf::test
