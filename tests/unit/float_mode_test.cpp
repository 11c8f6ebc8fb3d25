// SPDX-License-Identifier: MIT
//
// Whatever floating-point mode a host has set for itself, the samples are the same, and the mode is
// the host's again afterwards.
#include "simd/float_mode.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <vector>

#include "api/run_block.h"
#include "support/beam.h"
#include "support/host_float_mode.h"
#include "support/quiet.h"

namespace vekbf::test {
namespace {

constexpr VekBfConfig kStrong{0.5f, 10};

struct Mode {
  int rounding;
  bool flushing;
  const char* name;
};
constexpr Mode kModes[] = {
    {FE_TOWARDZERO, false, "toward zero"},
    {FE_UPWARD, false, "upward"},
    {FE_DOWNWARD, false, "downward"},
    {FE_TONEAREST, true, "flushing"},
    {FE_TOWARDZERO, true, "toward zero, flushing"},
};

using Run = uint32_t (*)(VekBfHandle, const int16_t*, int16_t*, int32_t);

std::vector<int16_t> play(Beam& beam, Run run) {
  constexpr int kPulses = 3;
  constexpr int kBlocks = 40;
  Random random(1);
  std::vector<int16_t> heard;
  for (int b = 0; b < kBlocks; ++b) {
    int16_t in[2 * kHopSize] = {};
    int16_t out[kHopSize];
    if (b < kPulses) {
      in[0] = 1;
      in[1] = -1;
    } else {
      for (int16_t& x : in) x = random.sample();
    }
    run(beam.handle(), in, out, 90);
    heard.insert(heard.end(), out, out + kHopSize);
  }
  return heard;
}

std::vector<int16_t> expected_samples() {
  const Quiet quiet;
  Beam beam(narrow_pair());
  beam.configure(kStrong);
  return play(beam, VekBf_Run);
}

TEST(FloatMode, OfTheHostChangesNoSampleAndStaysTheHosts) {
  const std::vector<int16_t> expected = expected_samples();
  for (const Mode& mode : kModes) {
    std::vector<int16_t> heard;
    bool unchanged = false;
    {
      const Quiet quiet;
      Beam beam(narrow_pair());
      const HostFloatMode host(mode.rounding, mode.flushing);
      beam.configure(kStrong);
      heard = play(beam, VekBf_Run);
      unchanged = host.is_unchanged();
    }
    EXPECT_EQ(heard, expected) << mode.name;
    EXPECT_TRUE(unchanged) << mode.name;
  }
}

// Or the test above would prove nothing: the same call without its guard.
TEST(FloatMode, OfTheHostWouldChangeSamples) {
  const std::vector<int16_t> expected = expected_samples();
  for (const Mode& mode : kModes) {
    if (mode.rounding == FE_TONEAREST && kFlushing == 0) continue;
    std::vector<int16_t> heard;
    {
      const Quiet quiet;
      Beam beam(narrow_pair());
      beam.configure(kStrong);
      const HostFloatMode host(mode.rounding, mode.flushing);
      heard = play(beam, run_block);
    }
    EXPECT_NE(heard, expected) << mode.name;
  }
}

TEST(FloatMode, IsLeftAloneWhereItIsTheStatedOne) {
  const uint64_t before = float_control::get();
  {
    const ScopedIeeeMode mode;
    EXPECT_EQ(float_control::get() & float_control::kModeBits, float_control::kIeeeMode);
  }
  EXPECT_EQ(float_control::get() & float_control::kModeBits, before & float_control::kModeBits);
}

#if defined(__GLIBC__) && defined(__SSE2__)
// At 8000 Hz the detector divides by zero.
TEST(FloatMode, AHostThatTrapsExceptionsIsNotStopped) {
  const std::vector<int16_t> expected = expected_samples();
  std::vector<int16_t> heard;
  int trapped = 0;
  {
    const Quiet quiet;
    Beam beam(narrow_pair());
    feenableexcept(FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW);
    beam.configure(kStrong);
    heard = play(beam, VekBf_Run);
    trapped = fegetexcept();
    fedisableexcept(FE_ALL_EXCEPT);
  }
  EXPECT_EQ(heard, expected);
  EXPECT_EQ(trapped, FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW);
}
#endif

}  // namespace
}  // namespace vekbf::test
