// SPDX-License-Identifier: MIT
#include "standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

namespace vekbf_tool {

void occupy_standard_descriptors() {
  int fd = 0;
  do {
    fd = open("/dev/null", O_RDWR);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd > STDERR_FILENO) close(fd);
}

}  // namespace vekbf_tool
