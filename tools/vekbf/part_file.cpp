// SPDX-License-Identifier: MIT
#include "part_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <utility>

#include "failure.h"
#include "file_identity.h"
#include "write_all.h"

namespace vekbf_tool {

namespace fs = std::filesystem;

namespace {

// A name beside `path` for a file that grows there. Names are at most 255 bytes long.
std::string part_name(const std::string& path) {
  constexpr std::size_t kLongestStem = 240;
  char ending[16];
  std::snprintf(ending, sizeof ending, ".%08x.part", std::random_device()());
  const fs::path name(path);
  const fs::path folder = name.parent_path();
  return (folder / (name.filename().string().substr(0, kLongestStem) + ending)).string();
}

}  // namespace

PartFile::PartFile(const std::string& path) : path_(without_links(path)) {
  constexpr int kAttempts = 100;
  std::error_code error;
  const fs::file_status status = fs::status(path_, error);
  // The finished file is moved to its name, which must not replace a directory or a device.
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    throw RunError("'" + path_ + "' exists and is not a regular file");
  }
  for (int attempt = 1; descriptor_ < 0; attempt++) {
    const std::string name = part_name(path_);
    descriptor_ = open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor_ >= 0) {
      partPath_ = name;
    } else if (errno != EEXIST || attempt == kAttempts) {
      throw RunError("cannot write '" + name + "': " + std::strerror(errno));
    }
  }
}

PartFile::~PartFile() {
  std::error_code ignored;
  if (!partPath_.empty()) fs::remove(partPath_, ignored);
}

void PartFile::commit() {
  std::error_code error;
  fs::rename(partPath_, path_, error);
  if (error) throw RunError("cannot give '" + partPath_ + "' its final name: " + error.message());
  partPath_.clear();
}

std::string PartFile::keep() {
  return std::string(1, '\'').append(std::exchange(partPath_, "")).append("'");
}

void write_file(const std::string& path, const std::string& text) {
  PartFile part(path);
  const std::string name = "'" + part.path() + "'";
  const bool whole = write_all(part.descriptor(), text.data(), text.size(), name);
  if (close(part.descriptor()) != 0 || !whole) throw RunError("cannot write " + name);
  part.commit();
}

}  // namespace vekbf_tool
