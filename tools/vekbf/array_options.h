// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "array.h"

namespace vekbf_tool {

// The options that describe the array, as text; the same for every subcommand.
struct RawArray {
  std::string shape;
  std::vector<std::string> mics;
  std::string geometry = "linear";
  MicArray done;
};

// CLI11 takes an empty argument for a number that was not given.
std::string refuse_empty(const std::string& text);

void declare_array(CLI::App& app, RawArray& raw);

// Throws UsageError.
MicArray give_array_meaning(RawArray& raw);

}  // namespace vekbf_tool
