// SPDX-License-Identifier: MIT
#include "api/banner.h"

#include <stdio.h>

namespace vekbf {

int32_t print_banner() {
  return printf("Tolvane %s Algorithm Library Version: %s-%s-%s, v%s\n", kProductName, "2022", "11",
                "29", "2.0.0");
}

}  // namespace vekbf
