// SPDX-License-Identifier: MIT
#pragma once

#include "base/instance.h"
#include "base/sizes.h"

namespace reference {

// Rows of the tables that belong to a microphone: more than four only on an instance that was never
// configured.
inline int rows(const Instance& instance) {
  if (instance.micNum <= 0) return 0;
  return instance.micNum > vekbf::kMaxMics ? vekbf::kMaxMics : static_cast<int>(instance.micNum);
}

}  // namespace reference
