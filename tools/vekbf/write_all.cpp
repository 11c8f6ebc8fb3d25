// SPDX-License-Identifier: MIT
#include "write_all.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "failure.h"
#include "interruption.h"

namespace vekbf_tool {

bool write_all(int descriptor, const void* bytes, std::size_t count, const std::string& name) {
  const char* next = static_cast<const char*>(bytes);
  while (count > 0) {
    if (!wait_writable(descriptor)) return false;
    // A pipe that is ready takes this much without blocking; the tool then waits only in poll,
    // where it notices signals.
    const ssize_t done = write(descriptor, next, std::min<std::size_t>(count, PIPE_BUF));
    if (done >= 0) {
      next += done;
      count -= static_cast<std::size_t>(done);
    } else if (errno != EINTR && errno != EAGAIN) {
      throw RunError("cannot write " + name + ": " + std::strerror(errno));
    }
  }
  return true;
}

}  // namespace vekbf_tool
