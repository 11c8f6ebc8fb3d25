// SPDX-License-Identifier: MIT
#pragma once

#include "vectors/player.h"

namespace vekbf::test {

inline constexpr Engine kLibrary = {VekBf_Init, VekBf_SetConfig, VekBf_Run, VekBf_Free,
                                    fft_init,   do_fft,          fft_free};

}  // namespace vekbf::test
