// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "stream.h"

namespace vekbf_tool {

// A source that shows on standard error how far it has been read, and takes that line away in the
// end. Shows nothing where standard error is no terminal or the length is not known.
class ProgressSource : public Source {
 public:
  // `what` stands before the percentage.
  explicit ProgressSource(std::unique_ptr<Source> source, std::string what = "");
  ~ProgressSource() override;
  ProgressSource(const ProgressSource&) = delete;
  ProgressSource& operator=(const ProgressSource&) = delete;
  int channels() const override { return source_->channels(); }
  int sampleRate() const override { return source_->sampleRate(); }
  std::optional<long long> frames() const override { return source_->frames(); }
  std::string name() const override { return source_->name(); }
  std::size_t read(double* samples, std::size_t frames) override;

 private:
  std::unique_ptr<Source> source_;
  std::string what_;
  bool shows_;
  bool shown_ = false;
  long long done_ = 0;
  std::chrono::steady_clock::time_point next_{};
};

}  // namespace vekbf_tool
