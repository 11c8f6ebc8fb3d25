// SPDX-License-Identifier: MIT
#include "base/framing.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/random.h"

namespace vekbf::test {
namespace {

using Samples = std::vector<int16_t>;

TEST(ZeroBlock, ZerosAreOne) { EXPECT_TRUE(is_zero_block(Samples(kHopSize).data())); }

TEST(ZeroBlock, OneSmallSampleAnywhereIsEnoughToBeNone) {
  for (int i = 0; i < kHopSize; ++i) {
    for (int16_t value : {int16_t{1}, int16_t{-1}, int16_t{-32768}}) {
      Samples in(kHopSize);
      in[static_cast<size_t>(i)] = value;
      EXPECT_FALSE(is_zero_block(in.data())) << "sample " << i << " is " << value;
    }
  }
}

// (-32768)^2 = 2^30, so that every fourth one wraps the sum back to 0.
TEST(ZeroBlock, SumsOfSquaresWrapModulo32Bits) {
  for (int count = 0; count <= kHopSize; ++count) {
    Samples in(kHopSize);
    for (int i = 0; i < count; ++i) in[static_cast<size_t>(kHopSize - 1 - i)] = -32768;
    EXPECT_EQ(is_zero_block(in.data()), count % 4 == 0) << count << " samples of -32768";
  }
}

TEST(ZeroBlock, ASumOfOtherSquaresMayWrapToZeroToo) {
  // 16384^2 = 2^28: sixteen of them make 2^32, fifteen do not.
  Samples in(kHopSize);
  for (size_t i = 0; i < 15; ++i) in[i * 8] = i % 2 == 0 ? 16384 : -16384;
  EXPECT_FALSE(is_zero_block(in.data()));
  in[127] = -16384;
  EXPECT_TRUE(is_zero_block(in.data()));
}

TEST(ZeroBlock, AgreesWithASumIn64BitsOnRandomBlocks) {
  const uint64_t seed = test_seed(11);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (int round = 0; round < 2000; ++round) {
    Samples in(kHopSize);
    uint64_t sum = 0;
    // Powers of two only, so that a wrap to exactly 0 is frequent.
    for (int16_t& x : in) {
      x = static_cast<int16_t>(-(1 << (12 + random.below(4))));
      sum += static_cast<uint64_t>(int64_t{x} * x);
    }
    EXPECT_EQ(is_zero_block(in.data()), sum % (uint64_t{1} << 32) == 0);
  }
}

using Histories = float[kMaxMics][kFrameSize];

// Values that no 16-bit sample has.
float old_sample(int mic, int i) { return static_cast<float>(100000 * (mic + 1) + i); }
void fill_with_old(Histories& histories) {
  for (int m = 0; m < kMaxMics; ++m) {
    for (int i = 0; i < kFrameSize; ++i) histories[m][i] = old_sample(m, i);
  }
}

TEST(TakeBlock, AppendsEachChannelToItsHistoryAndTouchesNoOther) {
  Random random(12);
  for (int channels = 1; channels <= kMaxMics; ++channels) {
    Samples in(static_cast<size_t>(kHopSize * channels));
    for (int16_t& x : in) x = random.sample();
    in.front() = -32768;
    in.back() = 32767;
    Histories histories;
    fill_with_old(histories);
    take_block(histories, in.data(), channels);
    for (int m = 0; m < kMaxMics; ++m) {
      for (int i = 0; i < kFrameSize; ++i) {
        float expected = old_sample(m, m < channels ? i + kHopSize : i);
        if (m < channels && i >= kKeptSize) {
          expected = static_cast<float>(in[static_cast<size_t>((i - kKeptSize) * channels + m)]);
        }
        ASSERT_EQ(histories[m][i], expected)
            << "channel " << m << " of " << channels << ", place " << i;
      }
    }
  }
}

TEST(TakeBlock, ConvertsEverySampleValueExactly) {
  for (int channels = 1; channels <= kMaxMics; ++channels) {
    const int count = kHopSize * channels;
    Samples in(static_cast<size_t>(count));
    for (int first = -32768; first < 32768; first += kHopSize) {
      for (int i = 0; i < count; ++i) {
        in[static_cast<size_t>(i)] = static_cast<int16_t>(first + i / channels);
      }
      Histories histories;
      fill_with_old(histories);
      take_block(histories, in.data(), channels);
      for (int m = 0; m < channels; ++m) {
        for (int t = 0; t < kHopSize; ++t) {
          ASSERT_EQ(histories[m][kKeptSize + t], static_cast<float>(first + t));
        }
      }
    }
  }
}

TEST(TakeBlock, MoreChannelsThanAnArrayMayHaveGiveZerosWithoutReading) {
  for (int32_t channels : {5, 9, 1000000, INT32_MAX}) {
    Histories histories;
    fill_with_old(histories);
    take_block(histories, nullptr, channels);
    for (int m = 0; m < kMaxMics; ++m) {
      EXPECT_EQ(histories[m][0], old_sample(m, kHopSize)) << channels << " channels";
      for (int t = 0; t < kHopSize; ++t) EXPECT_EQ(histories[m][kKeptSize + t], 0.0f) << channels;
    }
  }
}

TEST(TakeBlock, NoChannelLeavesEverythingAlone) {
  for (int32_t channels : {0, -1, INT32_MIN}) {
    Histories histories;
    fill_with_old(histories);
    take_block(histories, nullptr, channels);
    EXPECT_EQ(histories[0][0], old_sample(0, 0)) << channels << " channels";
  }
}

TEST(DrainOutput, HandsOutTheOldestHopAndClearsTheNewest) {
  Samples overlap(kFrameSize + 1);
  for (size_t i = 0; i < overlap.size(); ++i) overlap[i] = static_cast<int16_t>(i + 1);
  Samples out(kHopSize + 1, -9);
  drain_output(out.data(), overlap.data());
  for (int i = 0; i < kHopSize; ++i) EXPECT_EQ(out[static_cast<size_t>(i)], i + 1);
  EXPECT_EQ(out[kHopSize], -9);
  for (int i = 0; i < kFrameSize; ++i) {
    EXPECT_EQ(overlap[static_cast<size_t>(i)], i < kKeptSize ? i + kHopSize + 1 : 0) << i;
  }
  EXPECT_EQ(overlap[kFrameSize], kFrameSize + 1);
}

}  // namespace
}  // namespace vekbf::test
