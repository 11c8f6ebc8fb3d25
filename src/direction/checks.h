// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "vek_direction.h"

namespace vekbf::direction {

// VEK_DIR_OK, or the code of the first fault.
uint32_t first_fault(const VekBfInit& array);
uint32_t first_fault(const VekDirConfig& config);

}  // namespace vekbf::direction
