// SPDX-License-Identifier: MIT
#include "options.h"

#include <map>

#include "settings.h"
#include "vek_stream.h"

namespace vekbf_tool {

namespace {

// What stands beside the companion's one line of help.
struct Beside {
  std::string brief;
  std::string details;
  unsigned commands = kProcess;
};

const std::map<std::string, Beside>& beside() {
  constexpr unsigned kSound = kProcess | kTrack;
  constexpr unsigned kAll = kProcess | kGeometry | kTrack;
  static const std::map<std::string, Beside> all = {
      {"array", {"Shape or name of the array", "", kAll}},
      {"mic", {"Position x,y of a microphone in metres", "", kAll}},
      {"mics", {"", "", kFilesOnly}},  // what --mic is on the command line
      {"geometry",
       {"Kind of array",
        "With linear, y is not read; with triangle, no coordinate but x of the first microphone. "
        "rectangle and circular have no steering in the library and are refused without --force.",
        kAll}},
      {"sound-speed", {"Metres per second", "", kAll}},
      {"force",
       {"Accept a rectangle or a circle", "The fixed beamformer then gives silence.",
        kProcess | kGeometry}},
      {"channels",
       {"Channels to take, in microphone order", "All of them unless this is given.", kSound}},
      {"algorithm", {"Kind of beamformer", "", kProcess}},
      {"intensity", {"Strength of the gate, 0 to 10", "", kProcess}},
      {"vad-threshold", {"Detector threshold, 0 to 1", "It changes no sample.", kProcess}},
      {"angle", {"Direction of the talker in degrees", "", kProcess | kGeometry}},
      {"angle-start", {"Direction until a talker is heard", "", kProcess}},
      {"sector", {"Degrees between which a talker is followed", "", kSound}},
      {"hold", {"Sound that a talker elsewhere needs, in seconds", "", kSound}},
      {"focus", {"How much softer a talker may be, in dB", "", kSound}},
      {"angle-track",
       {"Angles that change with time",
        "Before the first time the angle is that of --angle. See FILES.", kProcess}},
      {"pre-gain", {"Gain in dB before the rounding to 16 bits", "", kSound}},
      {"keep-time",
       {"Keep time through digital silence",
        "Off unless it is given here or in the file of --config; the plug-ins and the library for "
        "streams keep time unless they are told not to.",
        kProcess}},
  };
  return all;
}

Option option_of(const VekStreamKey& key, const Settings& defaults) {
  Option option;
  option.name = key.name;
  option.values = key.values;
  option.initial = defaults.text(key.name);
  option.help = key.help;
  const auto more = beside().find(option.name);
  if (more != beside().end()) {
    option.brief = more->second.brief;
    option.details = more->second.details;
    option.commands = more->second.commands;
  }
  option.ofStream = true;
  return option;
}

std::vector<Option> make_table() {
  std::vector<Option> table = {
      {"join", "yes|no", "no", "All files but the last are mono, one per microphone",
       "All files but the last are mono, one per microphone, in order",
       "For track, which has no result, all files are.", kProcess | kTrack},
      {"out-dir", "DIR", "", "Folder for the results of several recordings",
       "All files are recordings; the results go into this folder under the same names",
       "They are processed in parallel."},
      {"config", "FILE", "", "Take options from a file",
       "File of options, one per line: angle = 60; the command line wins", "See FILES.",
       kProcess | kGeometry | kTrack},
      {"rate", "HERTZ", "", "Sample rate of raw input", "Sample rate of raw input, 8000 to 48000",
       "Needed there, and wrong elsewhere: a WAV file names its own.", kProcess | kTrack},
      {"raw-channels", "N", "", "Channels of raw input",
       "Channels of raw input, unless it has one per microphone", "", kProcess | kTrack},
  };
  const Settings defaults;
  for (std::size_t i = 0; const VekStreamKey* key = VekStream_Key(i); i++) {
    table.push_back(option_of(*key, defaults));
  }
  table.insert(
      table.end(),
      {{"angle-track-out", "FILE", "", "File for the angles that were found",
        "With angle auto: write the angles of the beam into a file that --angle-track reads", ""},
       {"angle-file", "FILE", "", "Angle file of an ALSA definition",
        "Turn the beam of this angle file only", "", kAngle},
       {"every", "SECONDS", "", "Time between two lines",
        "A line each so many seconds, 0.001 to 3600, instead of one for each change", "", kTrack},
       {"picture", "FILE", "", "Picture of the degrees over time",
        "Draw the degrees over time into a file of SVG", "", kTrack},
       {"find-pre-gain", "yes|no", "no", "Look for a gain without wraps",
        "Where the output wraps around: try lower gains in steps of 3 dB, down to -24 dB, and name "
        "the first that avoids it; reads the recording once for each",
        "What comes out of a pipe cannot be read again."},
       {"json", "yes|no", "no", "Report in a line of JSON",
        "Report each finished file in a line of JSON on standard output, or on standard error "
        "where standard output carries the result",
        "See JSON REPORT. For track, a line of JSON for each direction, on standard output.",
        kProcess | kTrack},
       {"verbose", "yes|no", "no", "Show settings and counts",
        "Show the settings in force and what was counted on standard error", "",
        kProcess | kTrack}});
  return table;
}

}  // namespace

const std::vector<Command>& command_table() {
  static const std::vector<Command> table = {
      {kProcess, "process", "Turn a multichannel recording into one beamformed signal",
       "vekbf process meeting.wav clean.wav --array line:4:80mm --angle 60", true},
      {kGeometry, "geometry",
       "Draw an array, its angles, and what the library makes of the coordinates",
       "vekbf geometry --array line:4:35mm --angle 60", false},
      {kTrack, "track", "Tell the direction of the talker over time, as lines SECONDS DEGREES",
       "vekbf track meeting.wav --array line:4:80mm --picture talker.svg", true},
      {kAngle, "angle", "Turn the beam that runs on this machine while it runs", "vekbf angle 120",
       false},
  };
  return table;
}

const std::vector<Option>& option_table() {
  static const std::vector<Option> table = make_table();
  return table;
}

}  // namespace vekbf_tool
