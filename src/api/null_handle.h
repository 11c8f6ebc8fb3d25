// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "base/log.h"
#include "vek_bf.h"

namespace vekbf {

inline constexpr const char* kNullHandleMessage = "The handle is NULL";

// Prints the log line of a null handle and returns its code. Null records, blocks and result
// pointers get the same answer, so that a caller has one code to check.
inline uint32_t refuse_null(const char* function) {
  log_line(Severity::kError, function, kNullHandleMessage);
  return VEK_BF_ERR_NULL_HANDLE;
}

}  // namespace vekbf
