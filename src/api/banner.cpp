// SPDX-License-Identifier: MIT
#include "api/banner.h"

#include <stdio.h>

#include "base/log.h"

namespace vekbf {

int32_t print_banner() {
  char line[64];
  const int length =
      snprintf(line, sizeof line, "Tolvane %s Algorithm Library Version: %s-%s-%s, v%s",
               kProductName, "2022", "11", "29", "2.0.0");
  log_bare(line);
  return length + 1;
}

}  // namespace vekbf
