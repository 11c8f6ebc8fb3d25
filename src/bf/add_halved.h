// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "base/spectrum.h"
#include "base/target.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

// Adds half of each sample, truncated to an integer, to the overlap-add accumulator.
void add_halved(int16_t (&overlap)[kFrameSize], const Frame& frame);

}  // namespace VEKBF_TARGET
}  // namespace vekbf
