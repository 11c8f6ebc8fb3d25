// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "run_setup.h"
#include "stream.h"

namespace vekbf_tool {

// What the setup names, once it is sure that the settings fit it. Throws RunError.
std::unique_ptr<Source> open_source(const InputSetup& setup, const Settings& settings);

// Where the result of `input` goes. Throws RunError.
std::unique_ptr<Sink> open_sink(const std::string& output, const Source& input);

}  // namespace vekbf_tool
