// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "base/instance.h"

namespace vekbf {

// The whole of VekBf_Run: one block in, one block out.
uint32_t run_block(Instance* instance, const int16_t* in, int16_t* out, int32_t angle);

}  // namespace vekbf
