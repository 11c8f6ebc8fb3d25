// SPDX-License-Identifier: MIT
#include "input_output.h"

#include <unistd.h>

#include <string>
#include <vector>

#include "input_file.h"
#include "combined_source.h"
#include "failure.h"
#include "output_file.h"
#include "raw_stream.h"
#include "text.h"

namespace vekbf_tool {

namespace {

std::unique_ptr<Source> open_all_channels(const Arguments& arguments) {
  if (arguments.inputs.size() > 1) return std::make_unique<JoinedFiles>(arguments.inputs);
  if (!arguments.readsRaw()) return std::make_unique<InputFile>(arguments.inputs[0]);
  const auto mics = static_cast<int>(arguments.array.mics.size());
  return std::make_unique<RawInput>(
      STDIN_FILENO, arguments.rawChannels > 0 ? arguments.rawChannels : mics, arguments.rate);
}

void check_source(const Source& input, const Arguments& arguments) {
  const auto mics = static_cast<long long>(arguments.array.mics.size());
  if (input.channels() != mics) {
    throw RunError(input.name() + " has " + counted(input.channels(), "channel") +
                   ", but the array has " + counted(mics, "microphone"));
  }
  if (input.sampleRate() < 8000 || input.sampleRate() > 48000) {
    throw RunError(input.name() + " has a sample rate of " + std::to_string(input.sampleRate()) +
                   " Hz; the library takes 8000 to 48000 Hz");
  }
}

}  // namespace

std::unique_ptr<Source> open_source(const Arguments& arguments) {
  std::unique_ptr<Source> source = open_all_channels(arguments);
  if (!arguments.channels.empty()) {
    source = std::make_unique<PickedChannels>(std::move(source), arguments.channels);
  }
  check_source(*source, arguments);
  return source;
}

std::unique_ptr<Sink> open_sink(const Arguments& arguments, const Source& input,
                                int standardOutput) {
  if (arguments.output == "-") {
    if (isatty(standardOutput) != 0) {
      throw RunError("raw samples are nothing for a terminal: pipe standard output somewhere");
    }
    return std::make_unique<RawOutput>(standardOutput);
  }
  return std::make_unique<OutputFile>(arguments.output, input.sampleRate(), input.frames());
}

}  // namespace vekbf_tool
