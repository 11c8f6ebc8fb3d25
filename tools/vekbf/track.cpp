// SPDX-License-Identifier: MIT
#include "track.h"

#include <unistd.h>

#include <memory>

#include "beam_run.h"
#include "direction_lines.h"
#include "direction_picture.h"
#include "failure.h"
#include "input_output.h"
#include "interruption.h"
#include "no_sink.h"
#include "part_file.h"
#include "progress.h"
#include "text.h"
#include "write_all.h"

namespace vekbf_tool {

namespace {

void print_line(const std::string& line) {
  if (!write_all(STDOUT_FILENO, line.data(), line.size(), "standard output")) {
    throw Interruption("interrupted");
  }
}

std::unique_ptr<Source> open_input(const TrackSetup& setup) {
  std::unique_ptr<Source> input = open_source(setup.input, setup.settings);
  // Lines on a terminal would mix with the progress line.
  if (isatty(STDOUT_FILENO) != 0) return input;
  return std::make_unique<ProgressSource>(std::move(input));
}

}  // namespace

Settings listening(const Settings& all) {
  Settings settings;
  for (const char* const key : {"array", "mics", "geometry", "sound-speed", "channels", "sector",
                                "hold", "focus", "pre-gain"}) {
    const std::string value = all.text(key);
    if (!value.empty()) settings.set(key, value);
  }
  settings.set("angle", "auto");
  try {
    settings.check();
  } catch (const UsageError& fault) {
    // The finder refuses the array. The message must not speak of an angle, which the user did not
    // give.
    const std::string text = fault.what();
    const std::size_t finder = text.find("the direction finder");
    throw UsageError(finder == std::string::npos ? text : text.substr(finder));
  }
  return settings;
}

void track(const TrackSetup& setup) {
  RunCounts counts;
  bool heard = false;
  std::unique_ptr<DirectionPicture> picture;
  {
    const std::unique_ptr<Source> input = open_input(setup);
    DirectionLines lines(input->sampleRate(), setup.every, setup.json, print_line);
    picture = std::make_unique<DirectionPicture>(input->sampleRate(), setup.settings);
    NoSink nowhere;
    counts = run_beam(setup.settings, *input, nowhere, Until::end,
                      [&](long long frames, const VekDirState& state) {
                        if (frames == 0) return;
                        lines.after_block(frames, state);
                        if (!setup.picture.empty()) picture->after_block(frames, state);
                      });
    heard = lines.any();
  }
  if (!setup.picture.empty()) write_file(setup.picture, picture->svg(setup.input.files[0]));
  if (counts.cutShort) throw Interruption("interrupted: the lines so far are complete");
  if (!heard) say("note: no talker was heard");
}

}  // namespace vekbf_tool
