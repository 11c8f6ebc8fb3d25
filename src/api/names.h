// SPDX-License-Identifier: MIT
//
// Names of enumeration values in the report. Every 32-bit value has a name.
#pragma once

#include <cstdint>

namespace vekbf {

// "unknown" outside the enumeration: a geometry is only checked by a configuration.
const char* geometry_name(int32_t geometry);

// The name of the beamformer that runs: every value but 1 runs the fixed one.
const char* algorithm_name(int32_t algorithm);

}  // namespace vekbf
