// SPDX-License-Identifier: MIT
//
// Microseconds per block, median and worst of 400, and the share of a core that the median is at
// 16 kHz, for machines that have no benchmark library.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "beam.h"
#include "signals.h"

namespace vekbf::bench {
namespace {

inline constexpr int kBlocks = 500;
inline constexpr int kWarmBlocks = 100;
inline constexpr double kBlockMicroseconds = 8000.0;  // 128 frames at 16 kHz

void time_blocks(VekBfAlgorithm algorithm, VekBfGeometry geometry, int mics, const char* kind) {
  const std::vector<int16_t> in = make_signal(kind, mics, kBlocks);
  Beam beam(kLibrary, algorithm, geometry, mics);
  int16_t out[kHopSize];
  std::vector<double> microseconds;
  for (int b = 0; b < kBlocks; ++b) {
    const auto start = std::chrono::steady_clock::now();
    beam.run(&in[static_cast<size_t>(b * mics * kHopSize)], out, 60);
    const std::chrono::duration<double, std::micro> taken =
        std::chrono::steady_clock::now() - start;
    if (b >= kWarmBlocks) microseconds.push_back(taken.count());
  }
  std::sort(microseconds.begin(), microseconds.end());
  std::printf("%-8s %-8s %d microphones %-6s  median %8.1f us  worst %8.1f us  %6.2f %%\n",
              algorithm == VEK_FIXED_BF ? "fixed" : "adaptive",
              geometry == VEK_BF_UNIFORM_LINEAR_ARRAY ? "linear" : "triangle", mics, kind,
              microseconds[microseconds.size() / 2], microseconds.back(),
              100.0 * microseconds[microseconds.size() / 2] / kBlockMicroseconds);
}

}  // namespace
}  // namespace vekbf::bench

int main() {
  using namespace vekbf::bench;
  for (const VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    for (int mics = 1; mics <= VEK_BF_MAX_MICS; ++mics) {
      time_blocks(algorithm, VEK_BF_UNIFORM_LINEAR_ARRAY, mics, "speech");
    }
    time_blocks(algorithm, VEK_BF_UNIFORM_TRIANGLE_ARRAY, VEK_BF_MAX_MICS, "speech");
    for (const char* kind : {"noise", "onebit", "loud"}) {
      time_blocks(algorithm, VEK_BF_UNIFORM_LINEAR_ARRAY, VEK_BF_MAX_MICS, kind);
    }
  }
}
