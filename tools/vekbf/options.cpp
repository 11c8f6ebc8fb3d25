// SPDX-License-Identifier: MIT
#include "options.h"

#include <algorithm>
#include <map>

#include "settings.h"
#include "vek_stream.h"

namespace vekbf_tool {

namespace {

// What the manual says beside the companion's one line.
const std::map<std::string, std::string>& details() {
  static const std::map<std::string, std::string> all = {
      {"geometry",
       "With linear, y is not read. With triangle no coordinate but x of the first microphone is "
       "read. rectangle and circular have no steering in the library and are refused without "
       "--force."},
      {"force", "The fixed beamformer then gives silence."},
      {"channels", "All of them unless this is given."},
      {"vad-threshold", "Of the adaptive beamformer."},
      {"angle", "A whole number."},
      {"angle-track", "See FILES."},
  };
  return all;
}

unsigned commands_of(const std::string& setting) {
  if (setting == "mics") return kFilesOnly;  // what --mic is on the command line
  static const std::vector<std::string> ofArray = {"array", "mic",         "mics", "geometry",
                                                   "force", "sound-speed", "angle"};
  const bool both = std::find(ofArray.begin(), ofArray.end(), setting) != ofArray.end();
  return both ? kProcess | kGeometry : kProcess;
}

Option option_of(const VekStreamKey& key, const Settings& defaults) {
  Option option;
  option.name = key.name;
  option.values = key.values;
  option.initial = defaults.text(key.name);
  option.help = key.help;
  const auto more = details().find(option.name);
  if (more != details().end()) option.details = more->second;
  option.commands = commands_of(option.name);
  option.ofStream = true;
  return option;
}

std::vector<Option> make_table() {
  std::vector<Option> table = {
      {"join", "yes|no", "no", "All files but the last are mono, one per microphone, in order", ""},
      {"out-dir", "DIR", "",
       "All files are recordings; the results go into this folder under the same names",
       "They are processed in parallel."},
      {"config", "FILE", "", "File of options, one per line: angle = 60; the command line wins",
       "See FILES. The file may hold options of any subcommand.", kProcess | kGeometry},
      {"rate", "HERTZ", "", "Sample rate of raw input, 8000 to 48000",
       "Needed there, and wrong elsewhere: a WAV file names its own."},
      {"raw-channels", "N", "", "Channels of raw input, unless it has one per microphone", ""},
  };
  const Settings defaults;
  for (std::size_t i = 0; const VekStreamKey* key = VekStream_Key(i); i++) {
    table.push_back(option_of(*key, defaults));
  }
  table.insert(table.end(),
               {{"find-pre-gain", "yes|no", "no",
                 "Where the output wraps around: try lower gains in steps of 3 dB, down to -24 dB, "
                 "and name the first without; reads the recording anew for each",
                 "What comes out of a pipe cannot be read again."},
                {"json", "yes|no", "no",
                 "Report each finished file in a line of JSON on standard output, or on standard "
                 "error where standard output carries the result",
                 "See JSON REPORT."},
                {"verbose", "yes|no", "no",
                 "Show the settings in force and what was counted on standard error", ""}});
  return table;
}

}  // namespace

const std::vector<Option>& option_table() {
  static const std::vector<Option> table = make_table();
  return table;
}

}  // namespace vekbf_tool
