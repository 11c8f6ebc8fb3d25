// SPDX-License-Identifier: MIT
#include "library_lines.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "failure.h"

namespace vekbf_tool {

namespace {

// A program may be started with a standard descriptor closed. The next file opened would get its
// number, and what is printed would go into that file.
void occupy_standard_descriptors() {
  int fd = 0;
  do {
    fd = open("/dev/null", O_RDWR);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd > STDERR_FILENO) close(fd);
}

}  // namespace

LibraryLines::LibraryLines(bool shown) : original_(-1) {
  occupy_standard_descriptors();
  std::fflush(stdout);
  original_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int nowhere = shown ? -1 : open("/dev/null", O_WRONLY | O_CLOEXEC);
  const int target = shown ? STDERR_FILENO : nowhere;
  if (original_ < 0 || target < 0 || dup2(target, STDOUT_FILENO) < 0) {
    throw RunError("cannot redirect standard output");
  }
  if (nowhere >= 0) close(nowhere);
  // Keeps the library's lines in order with those that the tool itself writes to standard error.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
}

LibraryLines::~LibraryLines() {
  std::fflush(stdout);
  dup2(original_, STDOUT_FILENO);
  close(original_);
}

}  // namespace vekbf_tool
