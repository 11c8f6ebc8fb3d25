// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

namespace vekbf_tool {

// Writes all bytes, at the reader's speed, also to a descriptor that does not block; false if an
// interruption came first. `name` is what a message calls the descriptor. Throws RunError.
bool write_all(int descriptor, const void* bytes, std::size_t count, const std::string& name);

}  // namespace vekbf_tool
