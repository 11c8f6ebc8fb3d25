// SPDX-License-Identifier: MIT
#pragma once

#include <sndfile.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "sound.h"
#include "stream.h"

namespace vekbf_tool {

// A WAV file with a whole and non-empty amount of audio. Of a named pipe the amount may be unknown,
// and is then what comes. Every member throws RunError.
class InputFile : public Source {
 public:
  explicit InputFile(const std::string& path);
  int channels() const override { return info_.channels; }
  int sampleRate() const override { return info_.samplerate; }
  std::optional<long long> frames() const override {
    return openEnded_ ? std::nullopt : std::optional<long long>(info_.frames);
  }
  std::string name() const override { return "'" + path_ + "'"; }
  std::size_t read(double* samples, std::size_t frames) override;

 private:
  std::string path_;
  SF_INFO info_{};
  sf_count_t left_ = 0;
  bool openEnded_ = false;
  Sound file_;
};

// A mono 16-bit WAV file that appears under its name only when it is complete: it grows as
// PATH.part, which is removed again unless commit() or abandon() is reached. Every member throws
// RunError.
class OutputFile : public Sink {
 public:
  OutputFile(const std::string& path, const std::vector<std::string>& inputPaths, int sampleRate);
  ~OutputFile() override;
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  void write(const std::int16_t* samples, std::size_t count) override;
  void commit() override;
  std::string abandon() override;

 private:
  void close();
  std::string path_;
  std::string partPath_;
  Sound file_;
};

}  // namespace vekbf_tool
