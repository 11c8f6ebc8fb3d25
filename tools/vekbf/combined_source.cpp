// SPDX-License-Identifier: MIT
#include "combined_source.h"

#include <utility>

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

PickedChannels::PickedChannels(std::unique_ptr<Source> source, std::vector<int> picks)
    : source_(std::move(source)), picks_(std::move(picks)) {
  for (const int pick : picks_) {
    if (pick > source_->channels()) {
      throw RunError(source_->name() + " has " + counted(source_->channels(), "channel") +
                     ", but --channels asks for number " + std::to_string(pick));
    }
  }
}

std::size_t PickedChannels::read(double* samples, std::size_t frames) {
  const auto width = static_cast<std::size_t>(source_->channels());
  all_.resize(frames * width);
  const std::size_t got = source_->read(all_.data(), frames);
  for (std::size_t i = 0; i < got; i++) {
    for (const int pick : picks_) *samples++ = all_[i * width + static_cast<std::size_t>(pick) - 1];
  }
  return got;
}

}  // namespace vekbf_tool
