// SPDX-License-Identifier: MIT
//
// Time per stage (stage/library/NAME beside stage/model/NAME), and the set-up.
#include <benchmark/benchmark.h>

#include <string>

#include "beam.h"
#include "stages.h"

namespace vekbf::bench {
namespace {

void run_stage(benchmark::State& state, void (*run)(Workload&)) {
  const WorkloadPointer workload = make_workload();
  for (auto _ : state) {
    run(*workload);
    benchmark::ClobberMemory();
  }
}

void set_up(benchmark::State& state, Side side) {
  for (auto _ : state) {
    Beam beam(side, VEK_ADAPTIVE_BF, VEK_BF_UNIFORM_LINEAR_ARRAY, kMaxMics);
    benchmark::DoNotOptimize(beam.instance());
  }
}

[[maybe_unused]] const bool registered = [] {
  for (const Stage& stage : stages()) {
    const auto add = [&](const char* side, void (*run)(Workload&)) {
      if (run == nullptr) return;
      const std::string name = std::string("stage/") + side + "/" + stage.name;
      benchmark::RegisterBenchmark(name.c_str(),
                                   [run](benchmark::State& state) { run_stage(state, run); });
    };
    add("library", stage.library);
    add("model", stage.model);
  }
  benchmark::RegisterBenchmark("setup/library",
                               [](benchmark::State& state) { set_up(state, Side::kLibrary); });
  benchmark::RegisterBenchmark("setup/model",
                               [](benchmark::State& state) { set_up(state, Side::kModel); });
  return true;
}();

}  // namespace
}  // namespace vekbf::bench
