// SPDX-License-Identifier: MIT
#include "joined_files.h"

#include "failure.h"
#include "text.h"

namespace vekbf_tool {

JoinedFiles::JoinedFiles(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    files_.push_back(std::make_unique<InputFile>(path));
    const InputFile& file = *files_.back();
    if (file.channels() != 1) {
      throw RunError(file.name() + " has " + counted(file.channels(), "channel") +
                     "; --join takes mono files");
    }
    if (file.sampleRate() != sampleRate() || file.frames() != frames()) {
      throw differs(file);
    }
  }
}

RunError JoinedFiles::differs(const InputFile& file) const {
  return RunError(file.name() + " differs from " + files_[0]->name() +
                  " in its sample rate or length");
}

std::size_t JoinedFiles::read(double* samples, std::size_t frames) {
  mono_.resize(frames);
  std::size_t got = 0;
  for (std::size_t c = 0; c < files_.size(); c++) {
    const std::size_t count = files_[c]->read(mono_.data(), frames);
    if (c > 0 && count != got) throw differs(*files_[c]);
    got = count;
    for (std::size_t i = 0; i < got; i++) samples[i * files_.size() + c] = mono_[i];
  }
  return got;
}

}  // namespace vekbf_tool
