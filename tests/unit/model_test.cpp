// SPDX-License-Identifier: MIT
//
// The plain model's blocks and configuration: refusals, dropped blocks, calls out of order.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "reference/model.h"
#include "support/model_states.h"

namespace {

using vekbf::kHopSize;
using Beam = vekbf::test::ModelBeam;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(ModelRun, DropsABlockWhoseSquaresAddUpToZero) {
  Beam beam(2, VEK_ADAPTIVE_BF);
  std::vector<int16_t> in(2 * kHopSize, 0);
  std::vector<int16_t> out(kHopSize, 5);
  in[kHopSize] = 1;  // behind the first 128 values
  for (int i = 0; i < 4; ++i) in[static_cast<size_t>(20 * i)] = -32768;  // 4 * 2^30
  EXPECT_EQ(VEK_BF_OK, reference::run(beam.get(), in.data(), out.data(), -17));
  EXPECT_EQ(std::vector<int16_t>(kHopSize, 0), out);
  EXPECT_EQ(-17, beam->steerAngle);
  EXPECT_EQ(1, beam->blockCounter);
  EXPECT_EQ(0.0f, beam->micHistory[0][384]);
  in[1] = 1;
  EXPECT_EQ(VEK_BF_OK, reference::run(beam.get(), in.data(), out.data(), 4));
  EXPECT_EQ(2, beam->blockCounter);
  EXPECT_EQ(-32768.0f, beam->micHistory[0][384]);
  EXPECT_EQ(1.0f, beam->micHistory[1][384]);
  EXPECT_EQ(1.0f, beam->micHistory[0][384 + 64]);
}

TEST(ModelRun, UnconfiguredGivesSilence) {
  for (const int32_t mics : {0, -1, 1, 4, 5, 1000}) {
    for (const VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
      const auto buffer = std::make_unique<std::max_align_t[]>(
          vekbf::kWorkBufferSize / sizeof(std::max_align_t) + 1);
      VekBfInit array = {};
      array.micNum = mics;
      array.algorithm = algorithm;
      const VekBfHandle handle = reference::init(buffer.get(), &array);
      std::vector<int16_t> in(4 * kHopSize, 100);
      std::vector<int16_t> out(kHopSize, 5);
      EXPECT_EQ(VEK_BF_OK, reference::run(handle, in.data(), out.data(), 10));
      EXPECT_EQ(std::vector<int16_t>(kHopSize, 0), out) << mics;
      EXPECT_EQ(VEK_BF_OK, reference::free_instance(handle));
    }
  }
}

TEST(ModelRun, NoMicrophonesGiveSilence) {
  for (const int32_t mics : {0, -3}) {
    for (const VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
      Beam beam(mics, algorithm);
      std::vector<int16_t> in(kHopSize, 100);
      std::vector<int16_t> out(kHopSize, 5);
      for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(VEK_BF_OK, reference::run(beam.get(), in.data(), out.data(), 10));
        EXPECT_EQ(std::vector<int16_t>(kHopSize, 0), out) << mics;
      }
    }
  }
}

TEST(ModelConfig, FirstFaultWinsAndChangesNothing) {
  const auto buffer =
      std::make_unique<std::max_align_t[]>(vekbf::kWorkBufferSize / sizeof(std::max_align_t) + 1);
  VekBfInit array = {};
  array.sampleRate = 7999;
  array.bitWidth = 24;
  array.micNum = 5;
  array.geometry = static_cast<VekBfGeometry>(-1);
  VekBfConfig config = {1.01f, 11};
  const VekBfHandle handle = reference::init(buffer.get(), &array);
  EXPECT_EQ(0x30000403u, reference::set_config(handle, &config));
  handle->sampleRate = 48001;
  EXPECT_EQ(0x30000403u, reference::set_config(handle, &config));
  handle->sampleRate = 48000;
  EXPECT_EQ(0x30000404u, reference::set_config(handle, &config));
  handle->bitWidth = 16;
  EXPECT_EQ(0x30000405u, reference::set_config(handle, &config));
  handle->soundSpeed = 1;
  EXPECT_EQ(0x30000406u, reference::set_config(handle, &config));
  handle->micNum = 4;
  EXPECT_EQ(0x30000407u, reference::set_config(handle, &config));
  handle->geometry = VEK_BF_UNIFORM_CIRCULAR_ARRAY;
  EXPECT_EQ(0x30000409u, reference::set_config(handle, &config));
  config.vadThreshold = kNan;
  EXPECT_EQ(0x30000410u, reference::set_config(handle, &config));
  EXPECT_EQ(nullptr, handle->fftState);
  EXPECT_EQ(0, handle->blockCounter);
  config.intensity = 10;
  EXPECT_EQ(VEK_BF_OK, reference::set_config(handle, &config));
  EXPECT_NE(nullptr, handle->fftState);
  uint32_t samples = 0;
  EXPECT_EQ(VEK_BF_OK, reference::get_input_samples(handle, &samples));
  EXPECT_EQ(512u, samples);
  EXPECT_EQ(VEK_BF_OK, reference::free_instance(handle));
  EXPECT_EQ(nullptr, handle->fftState);
  EXPECT_EQ(0u, handle->sampleRate);
}

TEST(ModelConfig, NullPointers) {
  Beam beam(1, VEK_FIXED_BF);
  int16_t block[kHopSize] = {};
  uint32_t samples = 7;
  VekBfInit array = {};
  EXPECT_EQ(nullptr, reference::init(nullptr, &array));
  EXPECT_EQ(nullptr, reference::init(block, nullptr));
  EXPECT_EQ(0x30000402u, reference::set_config(nullptr, nullptr));
  EXPECT_EQ(0x30000402u, reference::set_config(beam.get(), nullptr));
  EXPECT_EQ(0x30000402u, reference::get_input_samples(nullptr, &samples));
  EXPECT_EQ(0x30000402u, reference::get_input_samples(beam.get(), nullptr));
  EXPECT_EQ(7u, samples);
  EXPECT_EQ(0x30000402u, reference::run(nullptr, block, block, 1));
  EXPECT_EQ(0x30000402u, reference::run(beam.get(), nullptr, block, 1));
  EXPECT_EQ(0x30000402u, reference::run(beam.get(), block, nullptr, 1));
  EXPECT_EQ(90, beam->steerAngle);
  EXPECT_EQ(0x30000402u, reference::free_instance(nullptr));
}

TEST(ModelSilence, PrintsNothing) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  {
    Beam circle(2, VEK_ADAPTIVE_BF, 0.05f, 5, VEK_BF_UNIFORM_CIRCULAR_ARRAY);
    int16_t block[2 * kHopSize] = {};
    reference::run(circle.get(), block, block, 0);
    block[0] = 1;
    reference::run(circle.get(), block, block, 0);
    reference::run(nullptr, block, block, 0);
    const FftInitParams unknown = {0, 64, 0, 9};
    reference::fft_free(reference::fft_init(&unknown));
    reference::do_fft(nullptr, nullptr, nullptr, 0);
    reference::fft_free(nullptr);
    reference::mcra2_free(nullptr);
    reference::vad_free(reference::vad_init(nullptr));
  }
  const std::string out = testing::internal::GetCapturedStdout();
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ("", out);
  EXPECT_EQ("", err);
}

}  // namespace
