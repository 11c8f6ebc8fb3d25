// SPDX-License-Identifier: MIT
#include "math/amplitude_gain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include "math/log_table.h"
#include "math/phasor_table.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/every_float.h"
#include "support/snr_chain.h"

namespace vekbf::test {
namespace {

template <class V>
class AmplitudeGain : public testing::Test {};
TYPED_TEST_SUITE(AmplitudeGain, AllLaneTypes, LaneTypeNames);

// How many lanes differ from the library functions, each ratio gamma with the v that follows.
template <class V>
uint64_t mismatches(const float* gamma) {
  float v[V::kLanes], actual[V::kLanes];
  for (int i = 0; i < V::kLanes; ++i) v[i] = scaled_snr(gamma[i]);
  KnownGains known;
  amplitude_gain(V::load(v), V::load(gamma), known).store(actual);
  uint64_t bad = 0;
  for (int i = 0; i < V::kLanes; ++i) {
    const float expected = amplitude_gain_plain(v[i], gamma[i]);
    // Doubles become floats in the scalar unit, which keeps subnormals on every machine.
    bad += same_bits(actual[i], expected) ? 0 : 1;
  }
  return bad;
}

TYPED_TEST(AmplitudeGain, EqualsTheLibraryOverADenseSampleOfItsDomain) {
  // All of them are walked by amplitude_gain_slow_test.
  EXPECT_EQ(for_every_float<TypeParam::kLanes>(kGainLowestSnr, kGainHighestSnr, 499,
                                               mismatches<TypeParam>, 1),
            0u);
}

TYPED_TEST(AmplitudeGain, EqualsTheLibraryAtTheJointsOfTheTable) {
  // About every v halfway between two whole numbers the lanes of a group fall into two cells.
  float gamma = 0.5f;
  for (int cell = 0; cell + 1 < kGainCells; ++cell) {
    const float joint = static_cast<float>(cell) + 0.5f;
    if (scaled_snr(kGainHighestSnr) < joint) break;
    while (scaled_snr(gamma) < joint) gamma += 0.001f;
    ASSERT_EQ(for_every_float<TypeParam::kLanes>(gamma - 0.0011f, gamma + 0.0001f, 61,
                                                 mismatches<TypeParam>, 1),
              0u)
        << "v about " << joint;
  }
}

TYPED_TEST(AmplitudeGain, OfNotANumberIsNoneWhateverItsPayload) {
  using V = TypeParam;
  // The payload's low bits choose the cell.
  for (uint32_t payload = 0; payload < 0x100; ++payload) {
    float actual[V::kLanes];
    KnownGains known;
    amplitude_gain(V::splat(std::bit_cast<float>(0x7fc00000 | payload)), V::splat(1.0f), known)
        .store(actual);
    for (const float gain : actual) EXPECT_TRUE(std::isnan(gain)) << payload;
  }
}

TYPED_TEST(AmplitudeGain, PowerIsTheProductInItsOrder) {
  using V = TypeParam;
  const auto wrong = [](const float* gamma) {
    float v[V::kLanes], gain[V::kLanes], power[V::kLanes];
    for (int i = 0; i < V::kLanes; ++i) {
      v[i] = scaled_snr(gamma[i]);
      gain[i] = amplitude_gain_plain(v[i], gamma[i]);
    }
    gain_power(V::load(gain), V::load(gamma), V::load(v)).store(power);
    uint64_t bad = 0;
    for (int i = 0; i < V::kLanes; ++i) {
      const float expected = gain[i] * (gain[i] * gamma[i]);
      bad += (kFlushes<V> ? same_bits_flushed(power[i], expected) : same_bits(power[i], expected))
                 ? 0
                 : 1;
    }
    return bad;
  };
  EXPECT_EQ(for_every_float<V::kLanes>(kGainLowestSnr, kGainHighestSnr, 2003, wrong, 1), 0u);
  // About the v where the short cut to zero begins.
  EXPECT_EQ(for_every_float<V::kLanes>(690.0f, 711.0f, 37, wrong, 1), 0u);
}

TYPED_TEST(AmplitudeGain, MixedGroupsEqualTheLibrary) {
  const float gammas[] = {0.001f,  1000.0f, 0.0099f, 1.0f, 31.6f, 880.0f, 0.02f, 1000.0f,
                          1000.0f, 0.001f,  5.0f,    0.3f, 77.0f, 0.001f, 2.0f,  999.0f};
  for (int i = 0; i + TypeParam::kLanes <= 16; i += TypeParam::kLanes) {
    EXPECT_EQ(mismatches<TypeParam>(gammas + i), 0u);
  }
}

TYPED_TEST(AmplitudeGain, IsNotANumberForNegativeArguments) {
  float gamma[TypeParam::kLanes], v[TypeParam::kLanes], actual[TypeParam::kLanes];
  for (int i = 0; i < TypeParam::kLanes; ++i) {
    gamma[i] = 0.001f;
    v[i] = scaled_snr(gamma[i]);
    ASSERT_LT(v[i], 0.0f);
  }
  KnownGains known;
  amplitude_gain(TypeParam::load(v), TypeParam::load(gamma), known).store(actual);
  for (const float g : actual) EXPECT_TRUE(std::isnan(g));
}

// Ratios whose gain lies within 30 units of a double from the middle between two floats, nearest
// first, with the floats that the GNU library's doubles round to.
constexpr float kHardCases[][2] = {
    {0x1.3fa65ep-2f, 0x1.606e94p-2f},   {0x1.416b42p-6f, 0x1.1ad0cp-2f},
    {0x1.4c6b28p+5f, -0x1.2773dcp-8f},  {0x1.38c1c8p-2f, 0x1.611efcp-2f},
    {0x1.2b682ap+4f, 0x1.c6cff6p-5f},   {0x1.d0c8cp+0f, 0x1.0b3f9ap-2f},
    {0x1.fa34f8p-6f, 0x1.4a5a6ap-2f},   {0x1.b5fae2p+8f, -0x1.34d48p-67f},
    {0x1.427e6cp-5f, 0x1.5987f2p-2f},   {0x1.94d748p-5f, 0x1.639788p-2f},
    {0x1.bd712cp+5f, -0x1.cc09bap-11f}, {0x1.9a166cp+7f, 0x1.b40ee8p-32f},
    {0x1.d51fp-5f, 0x1.686326p-2f},
};

TYPED_TEST(AmplitudeGain, RoundsTheHardestArgumentsAsTheLibraryDoes) {
  KnownGains known;
  for (const auto& [hard, expected] : kHardCases) {
    float gamma[TypeParam::kLanes], v[TypeParam::kLanes], actual[TypeParam::kLanes];
    for (int i = 0; i < TypeParam::kLanes; ++i) {
      gamma[i] = i % 2 == 0 ? hard : 1.0f;
      v[i] = scaled_snr(gamma[i]);
    }
    amplitude_gain(TypeParam::load(v), TypeParam::load(gamma), known).store(actual);
    for (int i = 0; i < TypeParam::kLanes; ++i) {
      const float rest = amplitude_gain_plain(v[i], 1.0f);
      EXPECT_TRUE(same_bits(actual[i], i % 2 == 0 ? expected : rest)) << std::hexfloat << hard;
    }
    EXPECT_TRUE(same_bits(amplitude_gain_plain(v[0], hard), expected)) << std::hexfloat << hard;
  }
}

TEST(AmplitudeGainRedo, TouchesOnlyTheLanesThatDiffer) {
  float low[4] = {1.0f, 2.0f, -0.0f, 4.0f};
  const float high[4] = {1.0f, 3.0f, 0.0f, 4.0f};
  const float gamma[4] = {5.0f, 6.0f, 7.0f, 8.0f};
  float v[4];
  for (int i = 0; i < 4; ++i) v[i] = scaled_snr(gamma[i]);
  KnownGains known;
  amplitude_gain_redo(low, high, v, gamma, 4, known);
  EXPECT_EQ(low[0], 1.0f);
  EXPECT_EQ(low[1], amplitude_gain_plain(v[1], gamma[1]));
  EXPECT_EQ(low[2], amplitude_gain_plain(v[2], gamma[2]));
  EXPECT_EQ(low[3], 4.0f);
}

TEST(AmplitudeGainRedo, GivesEachLaneItsOwnGainAlsoWhereNeighboursShareAnArgument) {
  const float gamma[] = {5.0f, 5.0f, 6.0f, 6.0f, 5.0f, 5.0f, 0.0f};
  const float v[] = {4.0f, 4.0f, 4.0f, 3.0f, 3.0f, 3.0f, 0.0f};
  const float high[] = {1.0f, 1.0f, 1.0f, 1.0f, 2.0f, 1.0f, 1.0f};
  for (const int lanes : {1, 4, 7}) {
    KnownGains known;
    float low[7] = {0.0f, 0.0f, 0.0f, 0.0f, 2.0f, 0.0f, 0.0f};
    for (int i = 0; i < 7; i += lanes) {
      amplitude_gain_redo(low + i, high + i, v + i, gamma + i, std::min(lanes, 7 - i), known);
    }
    for (const int i : {0, 1, 2, 3, 5, 6}) {
      EXPECT_TRUE(same_bits(low[i], amplitude_gain_plain(v[i], gamma[i]))) << i;
    }
    EXPECT_EQ(low[4], 2.0f);
  }
}

TEST(AmplitudeGainRedo, AsksOnceForEachOfTheLastArguments) {
  KnownGains known;
  const auto gamma_of = [](int number) { return 1.0f + static_cast<float>(number); };
  for (int number = 0; number < 3 * KnownGains::kCases; ++number) {
    EXPECT_EQ(known.misses, number);
    const float gain = known.of(1.0f, gamma_of(number));
    EXPECT_TRUE(same_bits(gain, amplitude_gain_plain(1.0f, gamma_of(number)))) << number;
    for (int i = std::max(0, number + 1 - KnownGains::kCases); i <= number; ++i) {
      EXPECT_TRUE(same_bits(known.of(1.0f, gamma_of(i)), amplitude_gain_plain(1.0f, gamma_of(i))));
    }
    EXPECT_EQ(known.misses, number + 1);
  }
  known.of(1.0f, gamma_of(0));
  EXPECT_EQ(known.misses, 3 * KnownGains::kCases + 1);
}

TEST(Tables, FitIntoASmallCacheTogether) {
  EXPECT_LE(sizeof(kGainTable) + sizeof(kLogTable) + sizeof(kPhasorTable), 24u * 1024);
  // Ordinary speech stays below v = 60, 25 dB: those cells, and all of the other two tables.
  EXPECT_LE(61 * sizeof(GainCell) + sizeof(kLogTable) + sizeof(kPhasorTable), 12u * 1024);
}

}  // namespace
}  // namespace vekbf::test
