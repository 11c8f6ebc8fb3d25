// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace vekbf_tool {

// A file that appears under its name only when it is complete: it grows beside that place as
// NAME.xxxxxxxx.part, a name that no file had before, which is removed again unless commit() or
// keep() is reached. Where the name is a symbolic link, the file it points at is replaced and the
// link stays. Every member throws RunError.
class PartFile {
 public:
  explicit PartFile(const std::string& path);
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;
  // For reading and writing; the caller closes it.
  int descriptor() const { return descriptor_; }
  const std::string& path() const { return partPath_; }
  // Gives the closed file its name.
  void commit();
  // Leaves it under the name that it has now, which is returned in quotes.
  std::string keep();

 private:
  std::string path_;
  std::string partPath_;
  int descriptor_ = -1;
};

// A whole file of text.
void write_file(const std::string& path, const std::string& text);

}  // namespace vekbf_tool
