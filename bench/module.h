// SPDX-License-Identifier: MIT
//
// A build of the library as a module, to be timed beside other builds in one process.
#pragma once

#include <span>

#include "beam.h"
#include "stages.h"

namespace vekbf::bench {

struct Module {
  const Engine* engine;
  std::span<const Stage> stages;
  Workload* (*make_workload)();  // is not released
};

// The one symbol that a module shows, of the type Module.
inline constexpr const char* kModuleSymbol = "vekbf_bench_module";

}  // namespace vekbf::bench
