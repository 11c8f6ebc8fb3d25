// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "arguments.h"
#include "array_options.h"

namespace vekbf_tool {

// The options of `process` as text, before they are given a meaning.
struct RawProcess {
  RawArray array;
  std::vector<std::string> files;
  std::string configFile;
  std::string channels;
  bool join = false;
  std::string algorithm = "fixed";
  double vadThreshold = 0.5;
  std::int64_t intensity = 3;
  Arguments done;
};

void declare_process(CLI::App& app, RawProcess& raw);

// Throws UsageError.
Arguments give_process_meaning(RawProcess& raw);

}  // namespace vekbf_tool
