// SPDX-License-Identifier: MIT
#pragma once

namespace vekbf_tool {

// A program may be started with a standard descriptor closed. The next file opened would get its
// number, and what is printed would go into that file: opens the missing ones to nowhere.
void occupy_standard_descriptors();

}  // namespace vekbf_tool
