// SPDX-License-Identifier: MIT
#include "base/chosen_kernels.h"

namespace vekbf {

// The compiler's support library has asked the processor before main: for the instructions, and for
// an operating system that keeps the wide registers.
bool use_avx2() { return __builtin_cpu_supports("avx2") != 0; }

}  // namespace vekbf
