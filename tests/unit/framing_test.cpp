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

TEST(SlideHistory, MovesTheNewestThreeQuartersDownAndTouchesNothingElse) {
  std::vector<float> history(kFrameSize + 1);
  for (size_t i = 0; i < history.size(); ++i) history[i] = static_cast<float>(i);
  slide_history(history.data());
  for (int i = 0; i < kFrameSize + 1; ++i) {
    const int expected = i < kKeptSize ? i + kHopSize : i;
    EXPECT_EQ(history[static_cast<size_t>(i)], static_cast<float>(expected)) << i;
  }
}

TEST(TakeChannel, PicksEveryFrameOfOneMicrophoneUnscaled) {
  Random random(12);
  for (int channels = 1; channels <= kMaxMics; ++channels) {
    Samples in(static_cast<size_t>(kHopSize * channels));
    for (int16_t& x : in) x = random.sample();
    in.front() = -32768;
    in.back() = 32767;
    for (int mic = 0; mic < channels; ++mic) {
      std::vector<float> samples(kHopSize + 1, 0.25f);
      take_channel(samples.data(), in.data(), mic, channels);
      for (int t = 0; t < kHopSize; ++t) {
        EXPECT_EQ(samples[static_cast<size_t>(t)],
                  static_cast<float>(in[static_cast<size_t>(t * channels + mic)]))
            << "channel " << mic << " of " << channels << ", frame " << t;
      }
      EXPECT_EQ(samples[kHopSize], 0.25f);
    }
  }
}

TEST(TakeChannel, ConvertsEverySampleValueExactly) {
  Samples in(kHopSize);
  std::vector<float> samples(kHopSize);
  for (int first = -32768; first < 32768; first += kHopSize) {
    for (int t = 0; t < kHopSize; ++t) in[static_cast<size_t>(t)] = static_cast<int16_t>(first + t);
    take_channel(samples.data(), in.data(), 0, 1);
    for (int t = 0; t < kHopSize; ++t) {
      ASSERT_EQ(samples[static_cast<size_t>(t)], static_cast<float>(first + t));
    }
  }
}

TEST(TakeChannel, MoreChannelsThanAnArrayMayHaveGiveZerosWithoutReading) {
  for (int32_t channels : {5, 9, 1000000, INT32_MAX}) {
    std::vector<float> samples(kHopSize, 7.0f);
    take_channel(samples.data(), nullptr, 3, channels);
    EXPECT_EQ(samples, std::vector<float>(kHopSize)) << channels << " channels";
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
