// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "run_setup.h"
#include "turn.h"

namespace vekbf_tool {

enum class Subcommand { process, geometry, track, angle };

// What a command line asks for. `geometry` looks at the settings of `run` only.
struct Arguments {
  Subcommand subcommand = Subcommand::process;
  RunSetup run;        // in a batch `input.files` are all recordings, `output` is empty
  std::string outDir;  // of a batch
  TrackSetup track;    // of `track`
  TurnSetup turn;      // of `angle`
  std::vector<std::string> filesRead;  // none of which may be written over
};

// Reads the command line. Throws UsageError; nothing is left to do (help or version was printed)
// when the result is empty.
std::optional<Arguments> parse_arguments(int argc, char** argv);

}  // namespace vekbf_tool
