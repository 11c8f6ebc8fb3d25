// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "settings.h"

namespace vekbf_tool {

// Where sound comes from.
struct InputSetup {
  std::vector<std::string>
      files;            // one, or one mono file per microphone; "-" is standard input, raw
  int rate = 0;         // Hz, of raw input
  int rawChannels = 0;  // of raw input; 0 is one per microphone
  bool readsRaw() const { return files[0] == "-"; }
};

// One recording, from its input to its result.
struct RunSetup {
  InputSetup input;
  std::string output;  // "-" is standard output, raw
  Settings settings;
  std::string trackOutput;  // file of the angles that were found; empty is none
  std::string label;        // what the notes on a recording of a batch begin with
  bool findPreGain = false;
  bool json = false;
  bool verbose = false;
};

// Listening to one recording for the direction of its talker.
struct TrackSetup {
  InputSetup input;
  Settings settings;
  double every = 0;  // seconds between two lines; 0 is a line for each change
  bool json = false;
  std::string picture;  // file; empty is none
};

}  // namespace vekbf_tool
