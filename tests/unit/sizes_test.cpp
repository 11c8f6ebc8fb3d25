// SPDX-License-Identifier: MIT
#include "base/sizes.h"

#include <gtest/gtest.h>

#include "vek_bf.h"

namespace vekbf::test {
namespace {

TEST(Sizes, AreThoseOfThePublicHeader) {
  EXPECT_EQ(kHopSize, VEK_BF_BLOCK_FRAMES);
  EXPECT_EQ(kMaxMics, VEK_BF_MAX_MICS);
  EXPECT_EQ(kKeptSize, VEK_BF_LAG_SAMPLES);
}

TEST(Sizes, AFrameIsFourHopsAndHasItsRealTransformsBins) {
  EXPECT_EQ(kFrameSize, 512);
  EXPECT_EQ(kFrameSize, 4 * kHopSize);
  EXPECT_EQ(kKeptSize + kHopSize, kFrameSize);
  EXPECT_EQ(kBinCount, 257);
  EXPECT_EQ(kWorkBufferSize, 82352u);
}

}  // namespace
}  // namespace vekbf::test
