// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace vekbf_tool {

// Where a file written as `path` comes to lie: at the end of the symbolic links that begin there,
// also where the last of them points at nothing yet. Throws RunError.
std::string without_links(const std::string& path);

// Refuses to write over what is read (compared by device and inode, so under any name; "-" is
// standard input there) and to write two results to one place; standard output, "-", is neither.
// Throws RunError.
void check_overwriting(const std::vector<std::string>& read,
                       const std::vector<std::string>& written);

}  // namespace vekbf_tool
