// SPDX-License-Identifier: MIT
#pragma once

#include "settings.h"
#include "stream.h"

namespace vekbf_tool {

// What happened to a signal on its way through the beamformer.
struct RunCounts : VekStreamCounts {
  bool cutShort = false;  // by an interruption
};

enum class Until { end, firstWrap };

// Refuses sound that the settings do not fit. Throws RunError.
void check_source(const Settings& settings, const Source& input);

// Everything from `input` through the beamformer into `sink`, which it does not commit. Throws
// RunError.
RunCounts run_beam(const Settings& settings, Source& input, Sink& sink, Until until = Until::end);

}  // namespace vekbf_tool
