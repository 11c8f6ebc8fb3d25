// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "array.h"

namespace vekbf_tool {

// The options that every subcommand has. Those that describe the array, as text:
struct RawArray {
  std::string shape;
  std::vector<std::string> mics;
  std::string geometry = "linear";
  MicArray done;
};

// CLI11 takes an empty argument for a value that was not given.
std::string refuse_empty(const std::string& text);

void declare_array(CLI::App& app, RawArray& raw);
void declare_angle(CLI::App& app, std::int32_t& angle);
void declare_config(CLI::App& app, std::string& path);

// Throws UsageError.
MicArray give_array_meaning(RawArray& raw);

}  // namespace vekbf_tool
