// SPDX-License-Identifier: MIT
#include "arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <map>
#include <sstream>

#include "failure.h"
#include "options.h"
#include "own_words.h"
#include "text.h"
#include "track.h"

namespace vekbf_tool {

namespace {

// The words of a command line.
struct Given {
  std::vector<std::string> files;
  std::map<std::string, std::vector<std::string>> values;  // by option
  std::map<std::string, std::string> switches;
  std::vector<std::string> of(const std::string& option) const {
    const auto value = values.find(option);
    if (value != values.end()) return value->second;
    const auto word = switches.find(option);
    if (word == switches.end() || word->second.empty()) return {};
    return {word->second};
  }
};

void declare(CLI::App& command, const Option& option, Given& given) {
  const std::string name = "--" + option.name;
  if (option.isSwitch()) {
    command.add_flag(name, given.switches[option.name], option.help);
    return;
  }
  // One value each: without this, it would swallow the file names after it.
  CLI::Option* const declared = command.add_option(name, given.values[option.name], option.help)
                                    ->type_name(option.values)
                                    ->type_size(1)
                                    ->allow_extra_args(false);
  if (!option.repeats()) declared->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::Throw);
  if (!option.initial.empty()) declared->default_str(option.initial);
}

CLI::App* add_command(CLI::App& app, const Command& command, Given& given) {
  CLI::App* const added = app.add_subcommand(command.name, command.purpose);
  added->footer("Example: " + command.example);
  for (const Option& option : option_table()) {
    if ((option.commands & command.bit) != 0) declare(*added, option, given);
  }
  if (command.bit == kAngle) {
    added
        ->add_option("DEGREES|auto", given.files,
                     "Whole degrees, -3600 to 3600; auto lets a beam that was started with angle "
                     "auto find its talker again")
        ->type_name("");
  }
  if (command.bit == kTrack) {
    added
        ->add_option(
            "IN.wav", given.files,
            "Recording (WAV, one channel per microphone); - is raw s16le on standard input")
        ->type_name("");
  }
  if (command.bit == kProcess) {
    added
        ->add_option("IN.wav OUT.wav", given.files,
                     "Recording (WAV, one channel per microphone) and result (16-bit mono WAV, as "
                     "long as the input and lined up with it); - is raw s16le on standard input or "
                     "output")
        ->type_name("");
  }
  return added;
}

// The array is described once on a command line; over a file of options it wins as a whole.
void check_exclusions(const Given& given) {
  if (!given.of("array").empty() && !given.of("mic").empty()) {
    throw UsageError("--array gives all positions: leave --mic out");
  }
}

// A fault that names a setting, from the command line.
[[noreturn]] void refuse(const std::string& fault) { throw UsageError("--" + fault); }

class FileWords {
 public:
  explicit FileWords(OwnWords& words) : words_(words) {}
  static const char* take(void* user, const char* name, const char* value) noexcept {
    auto& self = *static_cast<FileWords*>(user);
    self.fault_ = take_word(self.words_, name, value);
    return self.fault_.empty() ? nullptr : self.fault_.c_str();
  }

 private:
  OwnWords& words_;
  std::string fault_;
};

void take_option(const Option& option, const std::string& value, Settings& settings,
                 OwnWords& words) {
  if (option.ofStream) {
    try {
      settings.set(option.name, value);
    } catch (const UsageError& fault) {
      // A fault inside the named file is a failed run, not a wrong command line.
      if (option.values == "FILE") throw RunError(std::string("--") + fault.what());
      refuse(fault.what());
    }
    return;
  }
  if (const std::string fault = take_word(words, option.name, value); !fault.empty()) refuse(fault);
}

// The file first, so that the command line wins.
void take_settings(const Given& given, Settings& settings, OwnWords& words) {
  check_exclusions(given);
  if (const auto config = given.of("config"); !config.empty()) {
    if (config[0].empty()) throw UsageError("--config is a file of options, not ''");
    FileWords file(words);
    settings.read_file(config[0], FileWords::take, &file);
  }
  for (const Option& option : option_table()) {
    if (option.name == "config") continue;
    for (const std::string& value : given.of(option.name)) {
      take_option(option, value, settings, words);
    }
  }
}

void split_inputs_and_output(const Given& given, const OwnWords& words, RunSetup& run) {
  std::vector<std::string>& inputs = run.input.files;
  const auto pipes = [&] { return std::count(inputs.begin(), inputs.end(), "-") > 0; };
  inputs = given.files;
  if (inputs.empty()) throw UsageError("IN.wav is missing");
  if (!words.outDir.empty()) {
    if (words.join) throw UsageError("--join makes one result: give OUT.wav instead of --out-dir");
    if (pipes()) throw UsageError("--out-dir takes files, not -");
    return;
  }
  run.output = inputs.back();
  inputs.pop_back();
  if (inputs.empty()) throw UsageError("OUT.wav is missing");
  if (inputs.size() == 1) return;
  if (!words.join) {
    throw UsageError("one file too many: '" + run.output +
                     "'; --join is for mono files, --out-dir for several recordings");
  }
  if (pipes()) throw UsageError("--join takes files, not -");
}

void check_raw(const InputSetup& input) {
  const bool raw = input.readsRaw();
  if (raw && input.rate == 0) {
    throw UsageError("raw input needs --rate, a sample rate of 8000 to 48000 Hz");
  }
  if (!raw && input.rate != 0) {
    throw UsageError("--rate is for raw input; a WAV file names its own");
  }
  if (!raw && input.rawChannels != 0) throw UsageError("--raw-channels is for raw input");
}

void check_track_inputs(const std::vector<std::string>& files, bool join) {
  if (files.empty()) throw UsageError("IN.wav is missing");
  if (files.size() == 1) return;
  if (!join) throw UsageError("one file too many: '" + files[1] + "'; --join is for mono files");
  if (std::count(files.begin(), files.end(), "-") > 0) {
    throw UsageError("--join takes files, not -");
  }
}

void make_track(const Given& given, const OwnWords& words, Arguments& arguments) {
  TrackSetup& track = arguments.track;
  track.settings = listening(arguments.run.settings);
  check_track_inputs(given.files, words.join);
  track.input = {given.files, words.rate, words.rawChannels};
  check_raw(track.input);
  track.every = words.every;
  track.json = words.json;
  track.picture = words.picture;
  arguments.run.settings = track.settings;
  arguments.run.verbose = words.verbose;
  arguments.filesRead = given.files;
}

void make_process(const Given& given, const OwnWords& words, Arguments& arguments) {
  RunSetup& run = arguments.run;
  run.settings.check();
  split_inputs_and_output(given, words, run);
  run.input.rate = words.rate;
  run.input.rawChannels = words.rawChannels;
  check_raw(run.input);
  run.findPreGain = words.findPreGain;
  run.json = words.json;
  run.verbose = words.verbose;
  run.trackOutput = words.trackOutput;
  arguments.outDir = words.outDir;
  if (!run.trackOutput.empty() && run.settings.text("angle") != "auto") {
    throw UsageError("--angle-track-out is for --angle auto");
  }
  if (!run.trackOutput.empty() && !arguments.outDir.empty()) {
    throw UsageError("--angle-track-out is for one recording: leave --out-dir out");
  }
  arguments.filesRead = run.input.files;
  const std::string track = run.settings.text("angle-track");
  if (!track.empty()) arguments.filesRead.push_back(track);
}

TurnSetup make_turn(const Given& given, const OwnWords& words) {
  constexpr int kMost = 3600;  // what every host takes
  if (given.files.size() != 1) {
    throw UsageError("angle is followed by one number of degrees, such as 60, or by auto");
  }
  const std::string& text = given.files[0];
  TurnSetup setup;
  setup.angleFile = words.angleFile;
  if (text == "auto") return setup;
  int degrees = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), degrees);
  if (error != std::errc() || stop != text.data() + text.size() || degrees < -kMost ||
      degrees > kMost) {
    throw UsageError("angle is a whole number of degrees from -3600 to 3600, or auto, not '" +
                     text + "'");
  }
  setup.degrees = degrees;
  return setup;
}

Arguments make_arguments(Subcommand subcommand, const Given& given) {
  Arguments arguments;
  arguments.subcommand = subcommand;
  OwnWords words;
  take_settings(given, arguments.run.settings, words);
  if (subcommand == Subcommand::angle) {
    arguments.turn = make_turn(given, words);
    return arguments;
  }
  arguments.run.settings.array();  // refuses what the library cannot steer
  switch (subcommand) {
    case Subcommand::geometry:
    case Subcommand::angle:
      break;
    case Subcommand::track:
      make_track(given, words, arguments);
      break;
    case Subcommand::process:
      make_process(given, words, arguments);
      break;
  }
  for (const std::string& file : given.of("config")) arguments.filesRead.push_back(file);
  return arguments;
}

}  // namespace

std::optional<Arguments> parse_arguments(int argc, char** argv) {
  CLI::App app("Microphone-array beamforming of recorded files", "vekbf");
  app.set_version_flag("--version", "vekbf " VEKBF_VERSION);
  app.require_subcommand(1);
  Given given;
  std::map<Commands, CLI::App*> commands;
  for (const Command& command : command_table()) {
    commands[command.bit] = add_command(app, command, given);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& request) {
    std::ostringstream text;
    app.exit(request, text, text);
    print(text.str());
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  const Subcommand subcommand = commands[kGeometry]->parsed() ? Subcommand::geometry
                                : commands[kTrack]->parsed()  ? Subcommand::track
                                : commands[kAngle]->parsed()  ? Subcommand::angle
                                                              : Subcommand::process;
  return make_arguments(subcommand, given);
}

}  // namespace vekbf_tool
