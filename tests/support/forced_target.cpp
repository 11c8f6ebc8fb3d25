// SPDX-License-Identifier: MIT
//
// In the place of the library's own choice (the object with use_avx2 in the static library is then
// left out): a test program that holds this file computes with the instruction set that
// VEKBF_TEST_TARGET names, sse2 or avx2, and without it as the library does. Where the processor
// lacks AVX2 the program says so and ends with 77; "avx2-anyway" asks for it even there.
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "base/chosen_kernels.h"

namespace {

constexpr int kSkipped = 77;

bool avx2_is_used = false;

// Before main, and before what is compiled for AVX2 sets up its tests.
[[gnu::constructor(101)]] void choose() {
  __builtin_cpu_init();
  const bool has_avx2 = __builtin_cpu_supports("avx2") != 0;
  const char* const target = std::getenv("VEKBF_TEST_TARGET");
  if (target == nullptr) {
    avx2_is_used = has_avx2;
  } else if (std::strcmp(target, "avx2") == 0 && !has_avx2) {
    static const char kLine[] = "skipped: this processor has no AVX2\n";
    if (write(STDOUT_FILENO, kLine, sizeof kLine - 1) < 0) _exit(1);
    _exit(kSkipped);
  } else {
    avx2_is_used = std::strncmp(target, "avx2", 4) == 0;
  }
}

}  // namespace

bool vekbf::use_avx2() { return avx2_is_used; }
