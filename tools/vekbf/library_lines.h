// SPDX-License-Identifier: MIT
#pragma once

namespace vekbf_tool {

// The library prints its diagnostics on standard output. While this object lives they go to
// standard error (shown) or nowhere, and the descriptor that was standard output stays free for the
// tool's own use.
class LibraryLines {
 public:
  explicit LibraryLines(bool shown);
  ~LibraryLines();
  LibraryLines(const LibraryLines&) = delete;
  LibraryLines& operator=(const LibraryLines&) = delete;
  int originalStdout() const { return original_; }

 private:
  int original_;
};

}  // namespace vekbf_tool
