// SPDX-License-Identifier: MIT
//
// Lets standard output go nowhere for a while: streams with zero blocks print thousands of lines.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace vekbf::test {

class Quiet {
 public:
  Quiet() {
    std::fflush(stdout);
    kept_ = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
  }
  ~Quiet() {
    std::fflush(stdout);
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
  }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

 private:
  int kept_;
};

}  // namespace vekbf::test
