// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "direction/finder.h"
#include "vek_direction.h"

namespace vekbf::direction {

// Takes one block of interleaved samples and tells what is known after it.
VekDirState run_block(Finder& finder, const int16_t* in);

// What has been gathered since the last update counts for nothing.
void drop_evidence(Finder& finder);

}  // namespace vekbf::direction
