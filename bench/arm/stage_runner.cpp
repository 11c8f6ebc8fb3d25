// SPDX-License-Identifier: MIT
//
// stage_runner NAME COUNT: runs a stage, or a whole block by the name
// block/ALGORITHM/GEOMETRY/MICS/SIGNAL, COUNT times after the same preparation. Two runs with
// different counts, under an instruction counter, subtracted, give the instructions of the stage.
// With model/ before the name the plain model does it. With no arguments it lists the names.
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "beam.h"
#include "model_side.h"
#include "signals.h"
#include "stages.h"

namespace vekbf::bench {
namespace {

inline constexpr int kPreparedBlocks = 100;

void run_blocks(const Engine& engine, VekBfAlgorithm algorithm, VekBfGeometry geometry, int mics,
                const std::string& kind, int count) {
  // The signal's length is fixed, so that preparing it costs the same for every count.
  constexpr int kSignalBlocks = 500;
  if (count > kSignalBlocks - kPreparedBlocks) {
    std::fprintf(stderr, "at most %d blocks\n", kSignalBlocks - kPreparedBlocks);
    std::exit(2);
  }
  const std::vector<int16_t> in = make_signal(kind, mics, kSignalBlocks);
  Beam beam(engine, algorithm, geometry, mics);
  int16_t out[kHopSize];
  for (int b = 0; b < kPreparedBlocks + count; ++b) {
    beam.run(&in[static_cast<size_t>(b * mics * kHopSize)], out, 60);
  }
}

bool run_named_block(const Engine& engine, const std::string& name, int count) {
  for (const auto& [algorithm, a] :
       {std::pair{VEK_FIXED_BF, "fixed"}, {VEK_ADAPTIVE_BF, "adaptive"}}) {
    for (const auto& [geometry, g] : {std::pair{VEK_BF_UNIFORM_LINEAR_ARRAY, "linear"},
                                      {VEK_BF_UNIFORM_TRIANGLE_ARRAY, "triangle"}}) {
      for (int mics = 1; mics <= kMaxMics; ++mics) {
        for (const char* kind : {"speech", "noise", "onebit", "loud"}) {
          const std::string here =
              std::string("block/") + a + "/" + g + "/" + std::to_string(mics) + "/" + kind;
          if (name.empty()) std::printf("%s\n", here.c_str());
          if (here == name) {
            run_blocks(engine, algorithm, geometry, mics, kind, count);
            return true;
          }
        }
      }
    }
  }
  return false;
}

bool run_named_stage(std::span<const Stage> all, const std::string& name, int count) {
  for (const Stage& stage : all) {
    if (name.empty()) std::printf("%s\n", stage.name);
    if (name == stage.name) {
      const WorkloadPointer workload = make_workload();
      for (int i = 0; i < count; ++i) stage.run(*workload);
      return true;
    }
  }
  return false;
}

}  // namespace
}  // namespace vekbf::bench

int main(int argc, char** argv) {
  using namespace vekbf::bench;
  if (argc == 1) {
    run_named_stage(stages(), "", 0);
    run_named_block(kLibrary, "", 0);
    return 0;
  }
  if (argc != 3) {
    std::fprintf(stderr, "usage: stage_runner [NAME COUNT]\n");
    return 2;
  }
  const int count = std::atoi(argv[2]);
  const std::string_view given = argv[1];
  const std::string_view prefix = "model/";
  const bool model = given.starts_with(prefix);
  const std::string name(model ? given.substr(prefix.size()) : given);
  const Engine& engine = model ? kModel : kLibrary;
  if (run_named_stage(model ? model_stages() : stages(), name, count) ||
      run_named_block(engine, name, count))
    return 0;
  std::fprintf(stderr, "no stage is called %s\n", argv[1]);
  return 2;
}
