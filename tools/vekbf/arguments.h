// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "array.h"
#include "vek_bf.h"

namespace vekbf_tool {

struct ProcessArguments {
  std::string input;      // "-" is raw samples on standard input
  std::string output;     // "-" is raw samples on standard output
  std::int32_t rate = 0;  // Hz, of raw input
  MicArray array;
  VekBfAlgorithm algorithm = VEK_FIXED_BF;
  VekBfConfig config = {0.5f, 5};
  std::int32_t angle = 90;  // degrees
  bool verbose = false;
};

// Reads the command line. Throws UsageError; nothing is left to do (help or version was printed)
// when the result is empty.
std::optional<ProcessArguments> parse_arguments(int argc, char** argv);

}  // namespace vekbf_tool
