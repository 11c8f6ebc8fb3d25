// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "array.h"
#include "vek_bf.h"

namespace vekbf_tool {

enum class Subcommand { process, geometry };

// `geometry` looks at `array` and `angle` only.
struct Arguments {
  Subcommand subcommand = Subcommand::process;
  std::vector<std::string> inputs;  // one, or one per microphone; "-" is standard input, raw
  std::string output;               // "-" is standard output, raw
  std::string outDir;               // instead of `output`: every input for itself
  std::string label;                // what the notes on this input begin with
  std::int32_t rate = 0;            // Hz, of raw input
  std::int32_t rawChannels = 0;     // of raw input; 0 is one per microphone
  std::vector<int> channels;        // one per microphone, the first is 1; empty is all
  MicArray array;
  VekBfAlgorithm algorithm = VEK_FIXED_BF;
  VekBfConfig config = {0.5f, 3};
  std::int32_t angle = 90;  // degrees
  std::string angleTrack;   // file of times and angles
  std::string configFile;   // file of options that these are from, in part
  double preGain = 0;       // decibels, before the conversion to 16 bits
  bool findPreGain = false;
  bool json = false;
  bool verbose = false;
  bool readsRaw() const { return inputs[0] == "-"; }
  // None of these may be written over.
  std::vector<std::string> filesRead() const {
    std::vector<std::string> files = inputs;
    files.insert(files.end(), {angleTrack, configFile});
    return files;
  }
};

// Reads the command line. Throws UsageError, RunError; nothing is left to do (help or version was
// printed) when the result is empty.
std::optional<Arguments> parse_arguments(int argc, char** argv);

}  // namespace vekbf_tool
