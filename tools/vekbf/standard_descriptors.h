// SPDX-License-Identifier: MIT
#pragma once

namespace vekbf_tool {

// A program may be started with a standard descriptor closed. The next file opened would get its
// number, and messages would be written into that file. Opens the missing ones on /dev/null.
void occupy_standard_descriptors();

}  // namespace vekbf_tool
