// SPDX-License-Identifier: MIT
//
// Linked with the silent log, the library does what it always does and prints nothing.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "support/beam.h"
#include "support/printed.h"

namespace vekbf::test {
namespace {

TEST(Quiet, EveryCallThatPrintsElsewherePrintsNothing) {
  WorkBuffer buffer;
  std::vector<int16_t> in(2 * kHopSize), out(kHopSize);
  expect_printed("", [&] {
    EXPECT_EQ(VekBf_GetLibVersion(), 57);
    EXPECT_EQ(VekBf_GetBufferSize(), kWorkBufferSize);
    EXPECT_EQ(VekBf_Init(nullptr, nullptr), nullptr);
    EXPECT_EQ(VekBf_Free(nullptr), VEK_BF_ERR_NULL_HANDLE);
    const VekBfInit array = array_of(2, VEK_ADAPTIVE_BF, VEK_BF_UNIFORM_CIRCULAR_ARRAY);
    VekBfHandle beam = VekBf_Init(buffer.get(), &array);
    in[0] = 1;
    VekBf_Run(beam, in.data(), out.data(), 0);
    const VekBfConfig refused{2.0f, 0};
    EXPECT_EQ(VekBf_SetConfig(beam, &refused), VEK_BF_ERR_VAD_THRESHOLD);
    EXPECT_EQ(VekBf_SetConfig(beam, &kConfig), VEK_BF_OK);
    EXPECT_EQ(VekBf_GetConfig(beam), VEK_BF_OK);
    VekBf_Run(beam, in.data(), out.data(), 0);
    in[0] = 0;
    VekBf_Run(beam, in.data(), out.data(), 0);
    EXPECT_EQ(VekBf_Free(beam), VEK_BF_OK);
  });
}

TEST(Quiet, TheSamplesAreThere) {
  WorkBuffer buffer;
  const VekBfInit array = array_of(2, VEK_FIXED_BF);
  VekBfHandle beam = VekBf_Init(buffer.get(), &array);
  ASSERT_EQ(VekBf_SetConfig(beam, &kConfig), VEK_BF_OK);
  std::vector<int16_t> in(2 * kHopSize, int16_t{1000}), out(kHopSize);
  for (int block = 0; block < 8; ++block) VekBf_Run(beam, in.data(), out.data(), 90);
  EXPECT_NEAR(out[kHopSize / 2], 790, 20);
  VekBf_Free(beam);
}

}  // namespace
}  // namespace vekbf::test
