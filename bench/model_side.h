// SPDX-License-Identifier: MIT
#pragma once

#include <span>

#include "beam.h"
#include "stages.h"

namespace vekbf::bench {

// The plain model beside the library; its stages are those of which it has operations of its own.
extern const Engine kModel;
std::span<const Stage> model_stages();

}  // namespace vekbf::bench
