// SPDX-License-Identifier: MIT
#pragma once

#include <sndfile.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace vekbf_tool {

struct CloseSound {
  void operator()(SNDFILE* file) const { sf_close(file); }
};
using Sound = std::unique_ptr<SNDFILE, CloseSound>;

// A 16-bit WAV file with a known, whole and non-empty amount of audio. Every member throws
// RunError.
class InputFile {
 public:
  explicit InputFile(const std::string& path);
  int channels() const { return info_.channels; }
  int sampleRate() const { return info_.samplerate; }
  sf_count_t frames() const { return info_.frames; }
  // Fills exactly `frames` frames of interleaved samples.
  void read(std::int16_t* samples, sf_count_t frames);

 private:
  std::string path_;
  SF_INFO info_{};
  Sound file_;
};

// A mono 16-bit WAV file that appears under its name only when it is complete: it grows as
// PATH.part, which is removed again unless commit() is reached. Every member throws RunError.
class OutputFile {
 public:
  OutputFile(const std::string& path, const std::string& inputPath, int sampleRate);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  void write(const std::int16_t* samples, sf_count_t count);
  void commit();

 private:
  std::string path_;
  std::string partPath_;
  Sound file_;
};

}  // namespace vekbf_tool
