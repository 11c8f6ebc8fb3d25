// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "arguments.h"
#include "stream.h"

namespace vekbf_tool {

// What the arguments name, with one channel per microphone. Throws RunError.
std::unique_ptr<Source> open_source(const Arguments& arguments);

// Where the result of `input` goes; raw output goes to the descriptor `standardOutput`. Throws
// RunError.
std::unique_ptr<Sink> open_sink(const Arguments& arguments, const Source& input,
                                int standardOutput);

}  // namespace vekbf_tool
