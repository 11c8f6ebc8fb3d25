// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "base/log.h"
#include "vek_bf.h"

namespace vekbf {

inline constexpr const char* kNullHandleMessage = "The handle is NULL";

// What an exported function does about a null handle. A null record, block or result pointer is
// answered in the same way, so that a caller has one code to look for.
inline uint32_t refuse_null(const char* function) {
  log_line(Severity::kError, function, kNullHandleMessage);
  return VEK_BF_ERR_NULL_HANDLE;
}

}  // namespace vekbf
