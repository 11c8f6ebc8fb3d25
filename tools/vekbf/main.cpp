// SPDX-License-Identifier: MIT
#include <csignal>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "arguments.h"
#include "array.h"
#include "batch.h"
#include "failure.h"
#include "file_identity.h"
#include "geometry.h"
#include "interruption.h"
#include "process.h"
#include "standard_descriptors.h"
#include "text.h"
#include "track.h"
#include "turn.h"
#include "vek_stream.h"

using namespace vekbf_tool;

namespace {

// As they would stand in a file of options.
void say_settings(const Settings& settings) {
  for (std::size_t i = 0; const VekStreamKey* key = VekStream_Key(i); i++) {
    const std::string value = settings.text(key->name);
    if (!value.empty()) say(std::string(key->name) + " = " + value);
  }
}

void run_process(const Arguments& arguments) {
  const RunSetup& run = arguments.run;
  if (run.verbose) say_settings(run.settings);
  if (const std::string note = array_note(run.settings.array()); !note.empty()) say(note);
  watch_for_interruption();
  if (!arguments.outDir.empty()) {
    process_batch(run, arguments.outDir, arguments.filesRead);
    return;
  }
  std::vector<std::string> results = {run.output};
  if (!run.trackOutput.empty()) results.push_back(run.trackOutput);
  check_overwriting(arguments.filesRead, results);
  process(run);
}

void run_track(const Arguments& arguments) {
  const TrackSetup& setup = arguments.track;
  if (arguments.run.verbose) say_settings(setup.settings);
  if (const std::string note = array_note(setup.settings.array()); !note.empty()) say(note);
  watch_for_interruption();
  if (!setup.picture.empty()) check_overwriting(arguments.filesRead, {setup.picture});
  track(setup);
}

// The look direction; with angle = auto there is none to draw.
int angle_to_draw(const Settings& settings) {
  constexpr int kAhead = 90;
  if (settings.text("angle") != "auto") return static_cast<int>(settings.number("angle"));
  const bool starts = !settings.text("angle-start").empty();
  return starts ? static_cast<int>(settings.number("angle-start")) : kAhead;
}

// Where the channels of the device are not its microphones.
std::string describe_channels(const std::vector<int>& picks) {
  std::string text;
  for (const int channel : picks) text += (text.empty() ? "" : ", ") + std::to_string(channel);
  return text.empty() ? text : "The microphones are the channels " + text + " of the sound.\n";
}

void run(const Arguments& arguments) {
  const Settings& settings = arguments.run.settings;
  switch (arguments.subcommand) {
    case Subcommand::process:
      return run_process(arguments);
    case Subcommand::track:
      return run_track(arguments);
    case Subcommand::angle:
      return turn(arguments.turn);
    case Subcommand::geometry:
      return print(describe_geometry(settings.array(), angle_to_draw(settings)) +
                   describe_channels(settings.picks()));
  }
}

}  // namespace

int main(int argc, char** argv) {
  // Writing to a closed pipe is then an error that is reported, not a silent end of the process.
  std::signal(SIGPIPE, SIG_IGN);
  occupy_standard_descriptors();
  try {
    if (const std::optional<Arguments> arguments = parse_arguments(argc, argv)) run(*arguments);
    return 0;
  } catch (const Interruption& stop) {
    say(stop.what());
    return kExitInterrupted;
  } catch (const UsageError& error) {
    say(error.what());
    return kExitUsage;
  } catch (const std::exception& error) {
    say(error.what());
    return kExitRun;
  }
}
