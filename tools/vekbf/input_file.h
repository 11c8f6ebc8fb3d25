// SPDX-License-Identifier: MIT
#pragma once

#include <sndfile.h>

#include <cstddef>
#include <string>

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

}  // namespace vekbf_tool
