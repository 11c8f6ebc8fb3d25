// SPDX-License-Identifier: MIT
#include "stream/by_hand.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vekbf::test {

namespace {

bool squares_add_up_to_zero(const int16_t* in) {
  int64_t sum = 0;
  for (size_t i = 0; i < kBlock; i++) sum += int64_t{in[i]} * in[i];
  return sum % (int64_t{1} << 32) == 0;
}

}  // namespace

PlainBeam::PlainBeam(const VekBfInit& array, const VekBfConfig& config, bool keepTime)
    : channels_(static_cast<size_t>(array.micNum)),
      keepTime_(keepTime),
      buffer_((VekBf_GetBufferSize() + 7) / 8),
      beam_(VekBf_Init(buffer_.data(), &array)) {
  EXPECT_EQ(VekBf_SetConfig(beam_, &config), VEK_BF_OK);
}

PlainBeam::~PlainBeam() { VekBf_Free(beam_); }

void PlainBeam::run(int16_t* in, int16_t* out, int32_t angle) {
  if (squares_add_up_to_zero(in)) {
    zeroBlocks_++;
    if (keepTime_) in[0] = static_cast<int16_t>(in[0] % 2 == 0 ? in[0] + 1 : in[0] - 1);
  }
  EXPECT_EQ(VekBf_Run(beam_, in, out, angle), VEK_BF_OK);
}

void PlainBeam::run_tail(int16_t* out, int32_t angle) {
  Samples silence(kBlock * channels_);
  silence[0] = 1;
  EXPECT_EQ(VekBf_Run(beam_, silence.data(), out, angle), VEK_BF_OK);
}

ByHand by_hand(const VekBfInit& array, const VekBfConfig& config, bool keepTime, Samples in,
               const BlockAngles& angles) {
  const auto channels = static_cast<size_t>(array.micNum);
  const size_t frames = in.size() / channels;
  const size_t blocks = (frames + kBlock - 1) / kBlock;
  in.resize(blocks * kBlock * channels);
  Samples out((blocks + 3) * kBlock);
  PlainBeam beam(array, config, keepTime);
  for (size_t b = 0; b < blocks + 3; b++) {
    // Behind the end the beam stays where it was.
    const int32_t angle = angles(std::min(b, std::max<size_t>(blocks, 1) - 1));
    if (b < blocks) {
      beam.run(&in[b * kBlock * channels], &out[b * kBlock], angle);
    } else {
      beam.run_tail(&out[b * kBlock], angle);
    }
  }
  const auto begin = out.begin() + static_cast<std::ptrdiff_t>(kLag);
  return {Samples(begin, begin + static_cast<std::ptrdiff_t>(frames)), beam.zeroBlocks()};
}

}  // namespace vekbf::test
