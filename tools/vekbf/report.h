// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include "beam_run.h"
#include "run_setup.h"

namespace vekbf_tool {

// A finished run.
struct Report {
  RunCounts counts;
  int sampleRate = 0;
  double elapsed = 0;  // seconds from the first read to the last write
  std::optional<double>
      preGainWithoutWraps;  // decibels; looked for on request, where there are wraps
};

// One line of JSON, valid whatever bytes the file names are. Without a duration there is no
// real-time factor: null.
std::string as_json(const RunSetup& run, const Report& report);

}  // namespace vekbf_tool
