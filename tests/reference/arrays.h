// SPDX-License-Identifier: MIT
#pragma once

#include <stdlib.h>

#include <cstddef>
#include <cstdint>

namespace reference {

// A heap block of zeros; an empty one for a count below 1.
inline float* zeros(int32_t count) {
  return static_cast<float*>(calloc(count > 0 ? static_cast<size_t>(count) : 0, sizeof(float)));
}

}  // namespace reference
