// SPDX-License-Identifier: MIT
#include "input_output.h"

#include <unistd.h>

#include "beam_run.h"
#include "failure.h"
#include "input_file.h"
#include "joined_files.h"
#include "output_file.h"
#include "raw_stream.h"

namespace vekbf_tool {

namespace {

std::unique_ptr<Source> open_files(const InputSetup& setup, const Settings& settings) {
  if (setup.files.size() > 1) return std::make_unique<JoinedFiles>(setup.files);
  if (!setup.readsRaw()) return std::make_unique<InputFile>(setup.files[0]);
  const int channels = setup.rawChannels > 0 ? setup.rawChannels : settings.mics();
  return std::make_unique<RawInput>(STDIN_FILENO, channels, setup.rate);
}

}  // namespace

std::unique_ptr<Source> open_source(const InputSetup& setup, const Settings& settings) {
  std::unique_ptr<Source> source = open_files(setup, settings);
  check_source(settings, *source);
  return source;
}

std::unique_ptr<Sink> open_sink(const std::string& output, const Source& input) {
  if (output != "-") {
    return std::make_unique<OutputFile>(output, input.sampleRate(), input.frames());
  }
  if (isatty(STDOUT_FILENO) != 0) {
    throw RunError("raw samples are nothing for a terminal: pipe standard output somewhere");
  }
  return std::make_unique<RawOutput>(STDOUT_FILENO);
}

}  // namespace vekbf_tool
