// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>

namespace vekbf_tool {

inline constexpr int kExitInterrupted = 130;

// The user or the system asked to stop; its text is one sentence for the user.
struct Interruption : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// From now on SIGINT and SIGTERM are only noted, unless they were ignored already. Throws RunError.
void watch_for_interruption();

bool interrupted();

// Waits until `descriptor` can be read, or has ended; false if an interruption comes first.
bool wait_readable(int descriptor);

// Waits until `descriptor` takes bytes, or never will again; false if an interruption comes first.
bool wait_writable(int descriptor);

}  // namespace vekbf_tool
