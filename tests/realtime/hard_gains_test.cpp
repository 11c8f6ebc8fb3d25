// SPDX-License-Identifier: MIT
//
// How often a block asks the mathematics library for a gain. The table leaves one value in about
// 2000 to it; but pulses give a frame only a few powers, so that what is one case for the table is
// up to 257 bins. The library's Bessel function is this program's own and counts its calls.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "math/amplitude_gain.h"
#include "realtime/build_kind.h"
#include "support/beam.h"
#include "support/quiet.h"

namespace {

int calls = 0;

}  // namespace

extern "C" double j1(double x) noexcept {
  ++calls;
  return jn(1, x);
}

namespace vekbf::test {
namespace {

constexpr int kBlocks = kEmulated ? 4000 : 40000;

struct Calls {
  int most = 0;
  int blocks = 0;  // with any
};

// Blocks of so many pulses, equally far from each other, of any height.
Calls calls_of_pulses(int pulses) {
  const Quiet quiet;
  Beam beam(array_of(1, VEK_ADAPTIVE_BF));
  beam.configure();
  Random random(11);
  Calls found;
  for (int b = 0; b < kBlocks; ++b) {
    int16_t in[kHopSize] = {};
    int16_t out[kHopSize];
    const auto height = static_cast<int16_t>(random.sample() | 1);
    for (int i = 0; i < pulses; ++i) in[i * kHopSize / pulses] = height;
    calls = 0;
    VekBf_Run(beam.handle(), in, out, 90);
    found.most = std::max(found.most, calls);
    found.blocks += calls > 0 ? 1 : 0;
  }
  return found;
}

TEST(HardGains, PulsesAskForEachPowerOnce) {
  // Pulses at one, two or four places of each block leave 3, 5 or 9 powers in a frame.
  for (const int pulses : {1, 2, 4}) {
    const Calls found = calls_of_pulses(pulses);
    EXPECT_GE(found.blocks, kBlocks / 4000) << pulses;  // or nothing would be shown
    EXPECT_LE(found.most, 4) << pulses;
  }
}

TEST(HardGains, NoiseHardlyAsks) {
  const Quiet quiet;
  Beam beam(array_of(1, VEK_ADAPTIVE_BF));
  beam.configure();
  Random random(12);
  int64_t all = 0;
  int most = 0;
  for (int b = 0; b < kBlocks / 4; ++b) {
    int16_t in[kHopSize], out[kHopSize];
    for (int16_t& x : in) x = static_cast<int16_t>(random.below(2001) - 1000);
    calls = 0;
    VekBf_Run(beam.handle(), in, out, 90);
    all += calls;
    most = std::max(most, calls);
  }
  EXPECT_GT(all, 0);
  EXPECT_LE(most, 4);
}

}  // namespace
}  // namespace vekbf::test
