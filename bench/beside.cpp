// SPDX-License-Identifier: MIT
//
// Times the library beside what a user might take instead, over the same two seconds of speech:
//
//   vekbf_beside NAME=MODULE.so... > BESIDE.json
//
// The modules are builds of the library and of the plain model, timed as fixed and adaptive beams
// of one and of four microphones.
#include <memory>

#include "others.h"
#include "signals.h"
#include "workload.h"

namespace vekbf::bench {
namespace {

inline constexpr int kSteps = 25;  // two seconds

Call beam_step(const Engine& engine, VekBfAlgorithm algorithm, int mics,
               const std::vector<int16_t>& in, int rate) {
  const auto beam = std::make_shared<Beam>(engine, algorithm, VEK_BF_UNIFORM_LINEAR_ARRAY, mics,
                                           static_cast<uint32_t>(rate));
  Frames frames(in, mics, kHopSize, rate);
  return [beam, frames]() mutable {
    int16_t out[kHopSize];
    frames.step([&](const int16_t* block) { beam->run(block, out, kBenchAngle); });
  };
}

}  // namespace
}  // namespace vekbf::bench

int main(int count, char** arguments) {
  using namespace vekbf::bench;
  std::vector<Build> builds;
  for (int i = 1; i < count; ++i) builds.push_back(load(arguments[i]));

  Report report;
  for (const int rate : {8000, 16000, 48000}) {
    for (const int mics : {1, vekbf::kMaxMics}) {
      const std::vector<int16_t> in = make_signal(
          "speech", mics, kSteps * rate * kStepMilliseconds / 1000 / VEK_BF_BLOCK_FRAMES, rate);
      std::vector<Contestant> contestants;
      for (const Build& build : builds) {
        for (const auto algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
          contestants.push_back({build.name + (algorithm == VEK_FIXED_BF ? "/fixed" : "/adaptive"),
                                 beam_step(*build.module.engine, algorithm, mics, in, rate)});
        }
      }
#if defined(VEKBF_BESIDE_WEBRTC)
      if (mics == vekbf::kMaxMics) contestants.push_back({"webrtc", webrtc_beam(in, rate)});
#endif
#if defined(VEKBF_BESIDE_SPEEXDSP)
      if (mics == 1) contestants.push_back({"speexdsp", speexdsp_preprocessor(in, rate)});
#endif
      report.stretch_row(std::to_string(rate) + "/" + std::to_string(mics), contestants, kSteps);
    }
  }
}
