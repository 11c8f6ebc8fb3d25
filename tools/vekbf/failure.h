// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>

namespace vekbf_tool {

// Exit statuses of the tool.
inline constexpr int kExitRun = 1;
inline constexpr int kExitUsage = 2;

// A wrong command line; its text is one sentence for the user.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A file or a run that failed; its text is one sentence for the user.
struct RunError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace vekbf_tool
