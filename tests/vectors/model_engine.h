// SPDX-License-Identifier: MIT
#pragma once

#include "reference/model.h"
#include "vectors/player.h"

namespace vekbf::test {

inline constexpr Engine kModel = {
    reference::init,     reference::set_config, reference::run,     reference::free_instance,
    reference::fft_init, reference::do_fft,     reference::fft_free};

}  // namespace vekbf::test
