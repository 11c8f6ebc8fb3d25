// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace vekbf_tool {

// The file that writing to `path` would create or replace: symbolic links are followed, also if the
// last one points at nothing yet. Throws RunError.
std::string without_links(const std::string& path);

// Refuses to write over what is read (compared by device and inode, so under any name; "-" is
// standard input there) and to write two results to one place; standard output, "-", is neither.
// Throws RunError.
void check_overwriting(const std::vector<std::string>& read,
                       const std::vector<std::string>& written);

}  // namespace vekbf_tool
