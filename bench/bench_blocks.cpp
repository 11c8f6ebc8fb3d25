// SPDX-License-Identifier: MIT
//
// Time per block, the library beside the plain model: block/SIDE/ALGORITHM/GEOMETRY/MICS/SIGNAL.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "beam.h"
#include "signals.h"

namespace vekbf::bench {
namespace {

inline constexpr int kBlocks = 500;

void run_blocks(benchmark::State& state, Side side, VekBfAlgorithm algorithm,
                VekBfGeometry geometry, int mics, const std::string& kind) {
  const std::vector<int16_t> in = make_signal(kind, mics, kBlocks);
  Beam beam(side, algorithm, geometry, mics);
  int16_t out[kHopSize];
  int block = 0;
  for (auto _ : state) {
    beam.run(&in[static_cast<size_t>(block * mics * kHopSize)], out, 60);
    benchmark::DoNotOptimize(out);
    block = block + 1 == kBlocks ? 0 : block + 1;
  }
}

[[maybe_unused]] const bool registered = [] {
  const auto add = [](Side side, VekBfAlgorithm algorithm, VekBfGeometry geometry, int mics,
                      const std::string& kind) {
    const std::string name = std::string("block/") +
                             (side == Side::kLibrary ? "library" : "model") +
                             (algorithm == VEK_FIXED_BF ? "/fixed" : "/adaptive") +
                             (geometry == VEK_BF_UNIFORM_LINEAR_ARRAY ? "/linear/" : "/triangle/") +
                             std::to_string(mics) + "/" + kind;
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
      run_blocks(state, side, algorithm, geometry, mics, kind);
    });
  };
  for (const Side side : {Side::kLibrary, Side::kModel}) {
    for (const auto algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
      for (const auto geometry : {VEK_BF_UNIFORM_LINEAR_ARRAY, VEK_BF_UNIFORM_TRIANGLE_ARRAY}) {
        for (int mics = 1; mics <= kMaxMics; ++mics) add(side, algorithm, geometry, mics, "speech");
        for (const char* kind : {"noise", "onebit", "loud"}) {
          add(side, algorithm, geometry, kMaxMics, kind);
        }
      }
    }
  }
  return true;
}();

}  // namespace
}  // namespace vekbf::bench
