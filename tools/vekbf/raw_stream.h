// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "stream.h"

namespace vekbf_tool {

// Interleaved 16-bit little-endian samples from a descriptor, as a recorder pipes them.
class RawInput : public Source {
 public:
  RawInput(int descriptor, int channels, int sampleRate);
  int channels() const override { return channels_; }
  int sampleRate() const override { return sampleRate_; }
  std::optional<long long> frames() const override { return std::nullopt; }
  std::string name() const override { return "standard input"; }
  std::size_t read(double* samples, std::size_t frames) override;

 private:
  int descriptor_;
  int channels_;
  int sampleRate_;
  std::vector<std::int16_t> samples_;
};

// 16-bit little-endian samples to a descriptor, each block as soon as it is there.
class RawOutput : public Sink {
 public:
  explicit RawOutput(int descriptor) : descriptor_(descriptor) {}
  void write(const std::int16_t* samples, std::size_t count) override;
  void commit() override {}
  std::string finish_interrupted() override { return "standard output"; }

 private:
  int descriptor_;
  std::vector<std::int16_t> bytes_;  // in little-endian order
};

}  // namespace vekbf_tool
