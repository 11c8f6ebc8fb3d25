// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "base/instance.h"

namespace vekbf {

// code is VEK_BF_OK, and message null, where there is no fault.
struct ConfigFault {
  uint32_t code;
  const char* message;
};

// The first fault of the array that `instance` was initialised with or of `config`, in the order
// sample rate, bit width, speed of sound, microphones, geometry, threshold, intensity. Changes
// nothing, so that a refused configuration leaves the instance as it was.
ConfigFault first_fault(const Instance& instance, const VekBfConfig& config);

}  // namespace vekbf
