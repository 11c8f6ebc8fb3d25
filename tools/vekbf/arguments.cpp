// SPDX-License-Identifier: MIT
#include "arguments.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <vector>

#include "failure.h"

namespace vekbf_tool {

namespace {

// The options as text, before they are given a meaning.
struct RawProcess {
  std::vector<std::string> mics;
  std::string geometry = "linear";
  std::string algorithm = "fixed";
  double vadThreshold = 0.5;
  std::int64_t intensity = 5;
  ProcessArguments done;
};

// CLI11 takes an empty argument for a number that was not given.
std::string refuse_empty(const std::string& text) {
  return text.empty() ? "a number is missing" : "";
}

void declare_process(CLI::App& app, RawProcess& raw) {
  app.add_option(
         "IN.wav", raw.done.input,
         "Recording: 16-bit WAV, one channel per microphone; - for raw s16le on standard input")
      ->required();
  app.add_option(
         "OUT.wav", raw.done.output,
         "Result: 16-bit WAV, mono, as long as the input and lined up with it; - for raw s16le "
         "on standard output")
      ->required();
  app.add_option("--rate", raw.done.rate, "Sample rate of raw input in Hz, 8000 to 48000")
      ->check(refuse_empty);
  // One value each: without this, --mic would swallow the file names after it.
  app.add_option("--mic", raw.mics,
                 "Position x,y of a microphone in metres; once per channel, in channel order")
      ->type_name("X,Y")
      ->type_size(1)
      ->allow_extra_args(false);
  app.add_option("--geometry", raw.geometry,
                 "linear: on the x axis; triangle: at 0, 90, 180, 270 degrees on a circle of "
                 "radius |x| of the first microphone")
      ->capture_default_str();
  app.add_option(
         "--algorithm", raw.algorithm,
         "fixed: delay-and-sum; adaptive: also cancels steady noise, at some cost to the talker")
      ->capture_default_str();
  app.add_option("--angle", raw.done.angle,
                 "Direction of the talker in degrees, from +x towards +y; a line hears 0 to 180, "
                 "90 is broadside")
      ->check(refuse_empty)
      ->capture_default_str();
  app.add_option("--sound-speed", raw.done.array.soundSpeed, "Metres per second")
      ->check(refuse_empty)
      ->capture_default_str();
  app.add_option("--vad-threshold", raw.vadThreshold, "Detector threshold, 0 to 1")
      ->check(refuse_empty)
      ->capture_default_str();
  app.add_option("--intensity", raw.intensity,
                 "Strength of the adaptive beamformer's gate, 0 to 10")
      ->check(refuse_empty)
      ->capture_default_str();
  app.add_flag("--verbose", raw.done.verbose, "Show the library's own lines on standard error");
}

ProcessArguments give_meaning(RawProcess& raw) {
  ProcessArguments& done = raw.done;
  for (const std::string& mic : raw.mics) {
    done.array.mics.push_back(parse_position(mic));
  }
  done.array.geometry = parse_geometry(raw.geometry);
  check_array(done.array);
  if (raw.algorithm != "fixed" && raw.algorithm != "adaptive") {
    throw UsageError("--algorithm is fixed or adaptive, not '" + raw.algorithm + "'");
  }
  if (done.input == "-" && (done.rate < 8000 || done.rate > 48000)) {
    throw UsageError("raw input needs --rate, a sample rate of 8000 to 48000 Hz");
  }
  if (done.input != "-" && done.rate != 0) {
    throw UsageError("--rate is for raw input; a WAV file names its own");
  }
  done.algorithm = raw.algorithm == "adaptive" ? VEK_ADAPTIVE_BF : VEK_FIXED_BF;
  // Written so that not-a-number fails too.
  if (!(raw.vadThreshold >= 0.0 && raw.vadThreshold <= 1.0)) {
    throw UsageError("--vad-threshold is a number from 0 to 1");
  }
  if (raw.intensity < 0 || raw.intensity > 10) {
    throw UsageError("--intensity is a whole number from 0 to 10, not " +
                     std::to_string(raw.intensity));
  }
  done.config = {static_cast<float>(raw.vadThreshold), static_cast<std::uint32_t>(raw.intensity)};
  return done;
}

}  // namespace

std::optional<ProcessArguments> parse_arguments(int argc, char** argv) {
  CLI::App app("Microphone-array beamforming of recorded files", "vekbf");
  app.set_version_flag("--version", "vekbf " VEKBF_VERSION);
  app.require_subcommand(1);
  RawProcess raw;
  CLI::App* process =
      app.add_subcommand("process", "Turn a multichannel recording into one beamformed signal");
  process->footer(
      "Example: vekbf process meeting.wav clean.wav --mic 0,0 --mic 0.05,0 --mic 0.1,0 --mic "
      "0.15,0 --angle 60");
  declare_process(*process, raw);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& request) {
    app.exit(request, std::cout, std::cerr);
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  return give_meaning(raw);
}

}  // namespace vekbf_tool
