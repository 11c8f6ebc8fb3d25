// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace vekbf_tool {

// The subcommands that know an option, as bits.
enum Commands : unsigned { kFilesOnly = 0, kProcess = 1, kGeometry = 2, kTrack = 4, kAngle = 8 };

struct Command {
  Commands bit;
  std::string name;
  std::string purpose;  // one line
  std::string example;
  bool takesFiles;
};

// The subcommands.
const std::vector<Command>& command_table();

// An option of the command line, and, but for `config`, a word of option files.
struct Option {
  std::string name;     // without its dashes
  std::string values;   // words as "fixed|adaptive", a placeholder as "FILE", or "yes|no": a switch
  std::string initial;  // the default; empty where there is none
  std::string brief;    // a few words, for completions
  std::string help;     // one line
  std::string details;  // further sentences for the manual; may be empty
  unsigned commands = kProcess;
  bool ofStream = false;  // a setting of the companion; else the tool's own
  bool isSwitch() const { return values == "yes|no"; }
  bool repeats() const { return name == "mic"; }
};

// The one list of options: the command line, the completions and the manual page are made from it.
const std::vector<Option>& option_table();

}  // namespace vekbf_tool
