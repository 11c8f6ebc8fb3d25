// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "direction/finder.h"
#include "vek_direction.h"

namespace vekbf::direction {

// Takes one block of interleaved samples and returns what is known after it.
VekDirState run_block(Finder& finder, const int16_t* in);

// Discards the evidence gathered since the last update.
void drop_evidence(Finder& finder);

}  // namespace vekbf::direction
