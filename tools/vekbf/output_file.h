// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "part_file.h"
#include "sound.h"
#include "stream.h"

namespace vekbf_tool {

// A mono 16-bit WAV file that appears under its name only when it is complete. Every member throws
// RunError.
class OutputFile : public Sink {
 public:
  // `frames` where they are known beforehand. Audio that fits into 4 GiB gets the plain header;
  // more gets that of RF64 (EBU Tech 3306). Of unknown length it is RF64 with room in its header,
  // which becomes RIFF in the end if the audio fits.
  OutputFile(const std::string& path, int sampleRate, std::optional<long long> frames);
  void write(const std::int16_t* samples, std::size_t count) override;
  void commit() override;
  std::string finish_interrupted() override;

 private:
  void close();
  PartFile part_;
  Sound file_;
};

}  // namespace vekbf_tool
