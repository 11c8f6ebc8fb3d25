// SPDX-License-Identifier: MIT
#include "base/log.h"

#include <stdio.h>

namespace vekbf {

namespace {

const char* tag_of(Severity severity) {
  switch (severity) {
    case Severity::kMessage:
      return "ALGO_MSG_MSG";
    case Severity::kWarning:
      return "ALGO_MSG_WRN";
    case Severity::kError:
      break;
  }
  return "ALGO_MSG_ERR";
}

}  // namespace

void log_line(Severity severity, const char* function, const char* message) {
  printf("[%s, %s] %s\n", tag_of(severity), function, message);
}

void log_bare(const char* line) { puts(line); }

}  // namespace vekbf
