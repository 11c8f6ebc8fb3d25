// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <vector>

#include "input_file.h"
#include "failure.h"
#include "stream.h"

namespace vekbf_tool {

// Mono files of the same rate and length as the channels of one recording. Throws RunError.
class JoinedFiles : public Source {
 public:
  explicit JoinedFiles(const std::vector<std::string>& paths);
  int channels() const override { return static_cast<int>(files_.size()); }
  int sampleRate() const override { return files_[0]->sampleRate(); }
  std::optional<long long> frames() const override { return files_[0]->frames(); }
  std::string name() const override { return "the joined input"; }
  std::size_t read(double* samples, std::size_t frames) override;

 private:
  RunError differs(const InputFile& file) const;
  std::vector<std::unique_ptr<InputFile>> files_;
  std::vector<double> mono_;
};

}  // namespace vekbf_tool
