// SPDX-License-Identifier: MIT
//
// Times builds of the library, the plain model and FFTW3f beside each other in one process:
//
//   vekbf_bench FROZEN.so NAME=MODULE.so... > TIMES.json
#include <fftw3.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "base/sizes.h"
#include "direction_source.h"
#include "model_side.h"
#include "signals.h"
#include "timing.h"
#include "workload.h"

namespace vekbf::bench {
namespace {

inline constexpr int kPlans = 5;
inline constexpr int kBlocks = 500;

// A patient plan of a 512-point real transform. How good it is hangs on the planner's luck: the
// best of several counts.
struct Yardstick {
  float* in = fftwf_alloc_real(kFrameSize);
  fftwf_complex* out = fftwf_alloc_complex(kBinCount);
  fftwf_plan plan = nullptr;
  float frame[kFrameSize];
  float window[kFrameSize];

  Yardstick() {
    for (int i = 0; i < kFrameSize; ++i) {
      const float phase = 6.2831853f * static_cast<float>(i) / kFrameSize;
      window[i] = 0.54f - 0.46f * std::cos(phase);
      frame[i] = 1000.0f * std::sin(17.3f * phase) + 300.0f * std::sin(91.7f * phase);
    }
    double best = std::numeric_limits<double>::infinity();
    for (int i = 0; i < kPlans; ++i) {
      fftwf_forget_wisdom();
      fftwf_plan next = fftwf_plan_dft_r2c_1d(kFrameSize, in, out, FFTW_PATIENT);
      std::memcpy(in, frame, sizeof frame);
      const double time = shortest([&] { fftwf_execute(next); }, 64, 400);
      if (time < best) {
        best = time;
        std::swap(plan, next);
      }
      if (next != nullptr) fftwf_destroy_plan(next);
    }
  }

  void bare() { fftwf_execute(plan); }
  void windowed() {
    for (int i = 0; i < kFrameSize; ++i) in[i] = frame[i] * window[i];
    fftwf_execute(plan);
  }
};

void time_blocks(Report& report, const std::vector<Build>& builds, VekBfAlgorithm algorithm,
                 VekBfGeometry geometry, int mics, const std::string& kind) {
  const std::vector<int16_t> in = make_signal(kind, mics, kBlocks);
  std::vector<Contestant> contestants;
  for (const Build& build : builds) {
    const auto beam = std::make_shared<Beam>(*build.module.engine, algorithm, geometry, mics);
    contestants.push_back({build.name, [&in, beam, mics, block = 0]() mutable {
                             int16_t out[kHopSize];
                             beam->run(&in[static_cast<size_t>(block * mics * kHopSize)], out,
                                       kBenchAngle);
                             block = block + 1 == kBlocks ? 0 : block + 1;
                           }});
  }
  report.row(std::string("block/") + (algorithm == VEK_FIXED_BF ? "fixed" : "adaptive") +
                 (geometry == VEK_BF_UNIFORM_LINEAR_ARRAY ? "/linear/" : "/triangle/") +
                 std::to_string(mics) + "/" + kind,
             contestants);
}

void time_stages(Report& report, const std::vector<Build>& builds) {
  std::vector<Workload*> workloads;
  for (const Build& build : builds) workloads.push_back(build.module.make_workload());
  for (const Stage& stage : builds[0].module.stages) {
    std::vector<Contestant> contestants;
    for (size_t b = 0; b < builds.size(); ++b) {
      for (const Stage& own : builds[b].module.stages) {
        if (std::strcmp(own.name, stage.name) == 0) {
          contestants.push_back(
              {builds[b].name, [run = own.run, workload = workloads[b]] { run(*workload); }});
        }
      }
    }
    report.row(std::string("stage/") + stage.name, contestants);
  }
  std::vector<Contestant> contestants;
  for (const Build& build : builds) {
    contestants.push_back({build.name, [engine = build.module.engine] {
                             const Beam beam(*engine, VEK_ADAPTIVE_BF, VEK_BF_UNIFORM_LINEAR_ARRAY,
                                             kMaxMics);
                           }});
  }
  report.row("setup", contestants);
}

// Time per block of the direction finder, at 16 kHz.
void time_direction(Report& report, const std::string& name, const std::string& kind) {
  constexpr uint32_t kRate = 16000;
  VekBfInit array;
  direction_array(name, kRate, array);
  DirectionSource source(kind, array.micNum);
  const auto length = static_cast<size_t>(array.micNum * VEK_BF_BLOCK_FRAMES);
  std::vector<int16_t> in;
  for (int b = 0; b < kBlocks; ++b) {
    const int16_t* block = source.next();
    in.insert(in.end(), block, block + length);
  }
  std::vector<uint64_t> memory(VekDir_GetBufferSize() / sizeof(uint64_t));
  const VekDirHandle finder = VekDir_Init(memory.data(), &array);
  size_t block = 0;
  report.row("direction/" + name + "/" + kind, {{"library", [&] {
                                                   VekDirState talker;
                                                   VekDir_Run(finder, &in[block * length], &talker);
                                                   block = block + 1 == kBlocks ? 0 : block + 1;
                                                 }}});
}

}  // namespace
}  // namespace vekbf::bench

int main(int count, char** arguments) {
  using namespace vekbf::bench;
  if (count < 2) {
    std::fprintf(stderr, "usage: vekbf_bench FROZEN.so NAME=MODULE.so... > TIMES.json\n");
    return 2;
  }
  std::vector<Build> builds = {load("frozen", arguments[1])};
  for (int i = 2; i < count; ++i) builds.push_back(load(arguments[i]));
  builds.push_back({"model", {&kModel, model_stages(), [] { return make_workload().release(); }}});

  Report report;
  Yardstick yardstick;
  report.row("fftw",
             {{"bare", [&] { yardstick.bare(); }}, {"windowed", [&] { yardstick.windowed(); }}});
  for (const auto algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    for (const auto geometry : {VEK_BF_UNIFORM_LINEAR_ARRAY, VEK_BF_UNIFORM_TRIANGLE_ARRAY}) {
      for (int mics = 1; mics <= vekbf::kMaxMics; ++mics) {
        time_blocks(report, builds, algorithm, geometry, mics, "speech");
      }
      for (const char* kind : {"noise", "onebit", "loud"}) {
        time_blocks(report, builds, algorithm, geometry, vekbf::kMaxMics, kind);
      }
    }
  }
  time_stages(report, builds);
  for (const char* array : {"line2", "line3", "line4", "unequal4", "dear4", "square"}) {
    for (const char* kind : {"speech", "bursts"}) time_direction(report, array, kind);
  }
}
