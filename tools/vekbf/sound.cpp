// SPDX-License-Identifier: MIT
#include "sound.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "failure.h"
#include "interruption.h"

namespace vekbf_tool {

namespace {

// Whether and why a file could not be opened stands in variables of the whole process, which
// libsndfile writes without a lock.
std::mutex opening;

template <class Open>
Sound open_alone(const Open& open, const std::string& failure) {
  const std::lock_guard<std::mutex> alone(opening);
  Sound file(open());
  if (!file) throw RunError(failure + ": " + sf_strerror(nullptr));
  return file;
}

// A descriptor from which bytes can be read. libsndfile reads the header while it opens a file,
// under a lock; the other files of a batch must not wait there for the writer of a pipe.
int open_when_it_delivers(const std::string& path, const std::string& failure) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) throw RunError(failure + ": " + std::strerror(errno));
  if (!wait_readable(descriptor)) {
    close(descriptor);
    throw Interruption("interrupted before anything came from '" + path + "'");
  }
  fcntl(descriptor, F_SETFL, 0);  // from here on reads may block
  return descriptor;
}

}  // namespace

Sound open_to_read(const std::string& path, SF_INFO& info, const std::string& failure) {
  std::error_code ignored;
  if (std::filesystem::is_regular_file(path, ignored)) {
    return open_alone([&] { return sf_open(path.c_str(), SFM_READ, &info); }, failure);
  }
  const int descriptor = open_when_it_delivers(path, failure);
  return open_alone([&] { return sf_open_fd(descriptor, SFM_READ, &info, SF_TRUE); }, failure);
}

Sound open_to_write(int descriptor, SF_INFO& info, const std::string& failure) {
  return open_alone([&] { return sf_open_fd(descriptor, SFM_WRITE, &info, SF_TRUE); }, failure);
}

}  // namespace vekbf_tool
