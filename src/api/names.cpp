// SPDX-License-Identifier: MIT
#include "api/names.h"

#include "vek_bf.h"

namespace vekbf {

const char* geometry_name(int32_t geometry) {
  switch (geometry) {
    case VEK_BF_UNIFORM_LINEAR_ARRAY:
      return "VEK_BF_UNIFORM_LINEAR_ARRAY";
    case VEK_BF_UNIFORM_TRIANGLE_ARRAY:
      return "VEK_BF_UNIFORM_TRIANGLE_ARRAY";
    case VEK_BF_UNIFORM_RECTANGLE_ARRAY:
      return "VEK_BF_UNIFORM_RECTANGLE_ARRAY";
    case VEK_BF_UNIFORM_CIRCULAR_ARRAY:
      return "VEK_BF_UNIFORM_CIRCULAR_ARRAY";
    default:
      return "unknown";
  }
}

const char* algorithm_name(int32_t algorithm) {
  return algorithm == VEK_ADAPTIVE_BF ? "VEK_ADAPTIVE_BF" : "VEK_FIXED_BF";
}

}  // namespace vekbf
