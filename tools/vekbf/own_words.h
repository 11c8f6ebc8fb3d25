// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace vekbf_tool {

// Options of the tool itself, which are not settings of a stream.
struct OwnWords {
  bool join = false;
  std::string outDir;
  int rate = 0;
  int rawChannels = 0;
  bool findPreGain = false;
  bool json = false;
  bool verbose = false;
  double every = 0;  // seconds
  std::string picture;
  std::string trackOutput;
  std::string angleFile;
};

// Takes `value` for the option `name`, from the command line or a file of options. Returns what is
// wrong, or an empty text.
std::string take_word(OwnWords& words, const std::string& name, const std::string& value);

}  // namespace vekbf_tool
