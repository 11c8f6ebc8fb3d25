// SPDX-License-Identifier: MIT
//
// The library with the flushing lanes of flushing/simd, loaded from its module.
#pragma once

#include "vectors/player.h"

namespace vekbf::test {

// Ends the program with a line where the module cannot be loaded.
const Engine& flushing_library();

}  // namespace vekbf::test
