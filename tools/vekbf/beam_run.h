// SPDX-License-Identifier: MIT
#pragma once

#include "arguments.h"
#include "stream.h"

namespace vekbf_tool {

// What happened to a signal on its way through the library.
struct RunCounts {
  bool cutShort = false;  // by an interruption
  long long frames = 0;
  long long blocks = 0;
  long long zeroBlocks = 0;  // dropped by the library
  long long clipped = 0;     // input samples beyond 16 bits
  long long wraps = 0;       // consecutive output samples more than 32768 apart
};

// Everything from `input` through the library into `sink`, which it does not commit. `preGain` in
// decibels. Throws RunError.
RunCounts run_beam(const Arguments& arguments, double preGain, Source& input, Sink& sink);

}  // namespace vekbf_tool
