// SPDX-License-Identifier: MIT
//
// In the place of the library's own choice: a module that holds this computes as processors without
// AVX2 do.
#include "base/chosen_kernels.h"

bool vekbf::use_avx2() { return false; }
