// SPDX-License-Identifier: MIT
#include "fuzz/target.h"

#include <fcntl.h>
#include <unistd.h>

#include <bit>
#include <cstdio>
#include <cstdlib>

namespace vekbf::fuzz {

void silence_standard_output() {
  std::fflush(stdout);
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0) fail("no /dev/null");
  close(nowhere);
}

void fail(const char* what, const char* detail) {
  std::fprintf(stderr, "FOUND: %s %s\n", what, detail);
  std::abort();
}

float Input::any_float() { return std::bit_cast<float>(word()); }

}  // namespace vekbf::fuzz

// Every target prints through the library.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  vekbf::fuzz::silence_standard_output();
  return 0;
}
