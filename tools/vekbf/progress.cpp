// SPDX-License-Identifier: MIT
#include "progress.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace vekbf_tool {

ProgressSource::ProgressSource(std::unique_ptr<Source> source, std::string what)
    : source_(std::move(source)),
      what_(std::move(what)),
      shows_(source_->frames() && isatty(STDERR_FILENO) != 0) {}

ProgressSource::~ProgressSource() {
  if (shown_) std::fprintf(stderr, "\r           %*s\r", static_cast<int>(what_.size()), "");
}

std::size_t ProgressSource::read(double* samples, std::size_t frames) {
  const std::size_t got = source_->read(samples, frames);
  done_ += static_cast<long long>(got);
  const auto now = std::chrono::steady_clock::now();
  if (shows_ && now >= next_) {
    std::fprintf(stderr, "\rvekbf: %s%3lld%%", what_.c_str(), 100 * done_ / *source_->frames());
    next_ = now + std::chrono::milliseconds(100);
    shown_ = true;
  }
  return got;
}

}  // namespace vekbf_tool
