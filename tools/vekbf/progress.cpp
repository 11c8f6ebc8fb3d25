// SPDX-License-Identifier: MIT
#include "progress.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace vekbf_tool {

ProgressSource::ProgressSource(std::unique_ptr<Source> source)
    : source_(std::move(source)), shows_(source_->frames() && isatty(STDERR_FILENO) != 0) {}

ProgressSource::~ProgressSource() {
  if (shown_) std::fprintf(stderr, "\r           \r");
}

std::size_t ProgressSource::read(double* samples, std::size_t frames) {
  const std::size_t got = source_->read(samples, frames);
  done_ += static_cast<long long>(got);
  const auto now = std::chrono::steady_clock::now();
  if (shows_ && now >= next_) {
    std::fprintf(stderr, "\rvekbf: %3lld%%", 100 * done_ / *source_->frames());
    next_ = now + std::chrono::milliseconds(100);
    shown_ = true;
  }
  return got;
}

}  // namespace vekbf_tool
