// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include "settings.h"
#include "stream.h"

namespace vekbf_tool {

// What happened to a signal on its way through the beamformer.
struct RunCounts : VekStreamCounts {
  bool cutShort = false;  // by an interruption
};

enum class Until { end, firstWrap };

// Told after every whole block what the direction finder knows; `frames` is the first frame of the
// next block, which is the first that the angle steers. Told once before, with 0 frames and the
// angle that steers until something was heard.
using Listener = std::function<void(long long frames, const VekDirState& state)>;

// Refuses sound that the settings do not fit. Throws RunError.
void check_source(const Settings& settings, const Source& input);

// Everything from `input` through the beamformer into `sink`, which it does not commit. Throws
// RunError.
RunCounts run_beam(const Settings& settings, Source& input, Sink& sink, Until until = Until::end,
                   const Listener& listener = nullptr);

}  // namespace vekbf_tool
