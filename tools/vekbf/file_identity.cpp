// SPDX-License-Identifier: MIT
#include "file_identity.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "failure.h"

namespace vekbf_tool {

namespace fs = std::filesystem;

namespace {

using FileId = std::pair<dev_t, ino_t>;

std::optional<FileId> identify(const std::string& path) {
  struct stat status {};
  const int failed = path == "-" ? fstat(STDIN_FILENO, &status) : stat(path.c_str(), &status);
  if (failed != 0) return std::nullopt;
  return FileId(status.st_dev, status.st_ino);
}

// The place of a file, whether it exists or not.
using Place = std::pair<std::optional<FileId>, std::string>;

Place place_of(const std::string& path) {
  const fs::path name(path);
  const fs::path folder = name.parent_path();
  return {identify(folder.empty() ? "." : folder.string()), name.filename().string()};
}

}  // namespace

std::string without_links(const std::string& path) {
  constexpr int kMostLinks = 40;  // the kernel's own limit; more are taken for a loop
  fs::path end = path;
  std::error_code error;
  for (int links = 0; fs::is_symlink(fs::symlink_status(end, error)); links++) {
    const fs::path next = fs::read_symlink(end, error);
    if (error || links == kMostLinks) {
      throw RunError("cannot follow the symbolic link '" + path + "'");
    }
    end = end.parent_path() / next;  // an absolute link replaces the folder
  }
  return end.string();
}

void check_overwriting(const std::vector<std::string>& read,
                       const std::vector<std::string>& written) {
  std::map<FileId, std::string> inputs;
  for (const std::string& path : read) {
    if (const auto id = identify(path)) inputs.emplace(*id, path);
  }
  std::set<Place> places;
  for (const std::string& path : written) {
    if (path == "-") continue;
    const auto id = identify(path);
    if (id && inputs.count(*id) > 0) {
      throw RunError("'" + path + "' would overwrite the input '" + inputs[*id] +
                     "'; give another name");
    }
    if (!places.insert(place_of(without_links(path))).second) {
      throw RunError("two of the results would be written to '" + path + "'");
    }
  }
}

}  // namespace vekbf_tool
