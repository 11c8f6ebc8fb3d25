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
  std::string label;  // what the notes on a recording of a batch begin with
  bool findPreGain = false;
  bool json = false;
  bool verbose = false;
};

}  // namespace vekbf_tool
