// SPDX-License-Identifier: MIT
//
// The exported functions other than VekBf_Run, and the life of an instance. The checks of a
// configuration are in check_config_test, its effect is in apply_config_test.
#include <gtest/gtest.h>

#include <climits>
#include <memory>

#include "support/beam.h"
#include "support/records.h"
#include "vek_bf.h"

namespace vekbf::test {
namespace {

bool all_zero(const std::vector<uint8_t>& bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](uint8_t b) { return b == 0; });
}

TEST(GetBufferSize, IsAlways82352AndSaysSo) {
  for (int call = 0; call < 2; ++call) {
    uint32_t size = 0;
    EXPECT_EQ(printed([&] { size = VekBf_GetBufferSize(); }),
              "[ALGO_MSG_MSG, VekBf_GetBufferSize] Working buffer size is 82352 bytes\n");
    EXPECT_EQ(size, 82352u);
  }
}

TEST(Init, RefusesANullBufferOrRecord) {
  const std::string line = "[ALGO_MSG_ERR, VekBf_Init] The workBufAddress or bfInit is NULL\n";
  const VekBfInit init = array_of(1);
  WorkBuffer buffer(0xa5);
  const std::vector<uint8_t> before = buffer.bytes();
  expect_printed(line, [&] { EXPECT_EQ(VekBf_Init(nullptr, &init), nullptr); });
  expect_printed(line, [&] { EXPECT_EQ(VekBf_Init(buffer.get(), nullptr), nullptr); });
  expect_printed(line, [&] { EXPECT_EQ(VekBf_Init(nullptr, nullptr), nullptr); });
  EXPECT_EQ(buffer.bytes(), before);
}

TEST(Init, ZeroesADirtyBufferCopiesTheRecordAndPrintsNothing) {
  VekBfInit init = array_of(3, VEK_ADAPTIVE_BF, VEK_BF_UNIFORM_CIRCULAR_ARRAY);
  init.sampleRate = 44100;
  init.soundSpeed = 340;
  for (int fill : {0x00, 0xa5, 0xff}) {
    WorkBuffer buffer(fill);
    VekBfHandle handle = nullptr;
    EXPECT_EQ(printed([&] { handle = VekBf_Init(buffer.get(), &init); }), "");
    EXPECT_EQ(static_cast<void*>(handle), buffer.get());

    WorkBuffer expected(0);
    Instance& record = *expected.instance();
    record.sampleRate = 44100;
    record.bitWidth = 16;
    record.micNum = 3;
    record.soundSpeed = 340;
    record.algorithm = 1;
    record.geometry = VEK_BF_UNIFORM_CIRCULAR_ARRAY;
    for (int m = 0; m < 3; ++m) {
      record.micCoordinate[m][0] = init.micCoordinate[m][0];
      record.micCoordinate[m][1] = init.micCoordinate[m][1];
    }
    EXPECT_EQ(buffer.bytes(), expected.bytes());
  }
}

TEST(Init, WritesExactlyTheWorkingBuffer) {
  std::vector<uint8_t> memory(kWorkBufferSize + 64, 0xa5);
  uint8_t* buffer = memory.data() + 32;
  const VekBfInit init = array_of(4);
  VekBf_Init(buffer, &init);
  for (size_t i = 0; i < 32; ++i) {
    EXPECT_EQ(memory[i], 0xa5);
    EXPECT_EQ(memory[kWorkBufferSize + 32 + i], 0xa5);
  }
}

TEST(Init, AcceptsABufferAlignedForAPointerOnly) {
  for (size_t shift = 0; shift < 64; shift += sizeof(void*)) {
    std::vector<uint64_t> memory(kWorkBufferSize / 8 + 16);
    void* buffer = reinterpret_cast<uint8_t*>(memory.data()) + shift;
    const VekBfInit init = array_of(2, VEK_ADAPTIVE_BF);
    VekBfHandle handle = VekBf_Init(buffer, &init);
    Block out(kHopSize);
    Random random(31);
    printed([&] { EXPECT_EQ(VekBf_SetConfig(handle, &kConfig), VEK_BF_OK); });
    EXPECT_EQ(VekBf_Run(handle, noise_block(random, 2).data(), out.data(), 60), VEK_BF_OK);
    EXPECT_EQ(VekBf_Free(handle), VEK_BF_OK);
  }
}

TEST(Init, ValidatesNothingButItsTwoPointers) {
  VekBfInit init{};
  init.sampleRate = 1;
  init.bitWidth = -1;
  init.micNum = -7;
  init.soundSpeed = 0;
  init.algorithm = static_cast<VekBfAlgorithm>(77);
  init.geometry = static_cast<VekBfGeometry>(-5);
  Beam beam(init);
  const Instance& record = beam.record();
  EXPECT_EQ(record.sampleRate, 1u);
  EXPECT_EQ(record.bitWidth, -1);
  EXPECT_EQ(record.micNum, -7);
  EXPECT_EQ(record.soundSpeed, 0);
  EXPECT_EQ(record.algorithm, 77);
  EXPECT_EQ(static_cast<int32_t>(record.geometry), -5);
}

TEST(Init, CopiesOneCoordinatePairPerMicrophoneAndAtMostFour) {
  for (int32_t mics : {INT_MIN, -1, 0, 1, 2, 3, 4, 5, 9, 0x20000000, INT_MAX}) {
    // On the heap, so that memory checkers see a read behind the caller's record.
    auto init = std::make_unique<VekBfInit>(array_of(mics));
    for (auto& pair : init->micCoordinate) pair[0] = pair[1] = 2.0f;
    Beam beam(*init, 0xa5);
    for (int m = 0; m < 4; ++m) {
      const float expected = m < mics ? 2.0f : 0.0f;
      EXPECT_EQ(beam.record().micCoordinate[m][0], expected) << mics << " microphones, " << m;
      EXPECT_EQ(beam.record().micCoordinate[m][1], expected) << mics << " microphones, " << m;
    }
    EXPECT_EQ(beam.record().geometry, VEK_BF_UNIFORM_LINEAR_ARRAY);
    EXPECT_EQ(beam.record().blockPowerSmoothing, 0.0f);
  }
}

TEST(SetConfig, RefusesANullHandleAndANullRecordWithoutAChange) {
  const std::string line = error_line("VekBf_SetConfig", "The handle is NULL");
  expect_printed(line, [] { EXPECT_EQ(VekBf_SetConfig(nullptr, &kConfig), 0x30000402u); });
  expect_printed(line, [] { EXPECT_EQ(VekBf_SetConfig(nullptr, nullptr), 0x30000402u); });
  Beam beam(array_of(2));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  const std::vector<uint8_t> before = beam.bytes();
  expect_printed(line, [&] { EXPECT_EQ(VekBf_SetConfig(beam.handle(), nullptr), 0x30000402u); });
  EXPECT_EQ(beam.bytes(), before);
}

TEST(GetConfig, ANullHandlePrintsAnErrorAndStillReturnsZero) {
  uint32_t code = 1;
  EXPECT_EQ(printed([&] { code = VekBf_GetConfig(nullptr); }),
            "[ALGO_MSG_ERR, VekBf_GetConfig] The handle is NULL\n");
  EXPECT_EQ(code, 0u);
}

TEST(GetInputSamples, IsTheMicrophonesTimes128AndPrintsNothing) {
  for (int32_t mics = 0; mics <= 4; ++mics) {
    Beam beam(array_of(mics));
    uint32_t samples = 7;
    expect_printed("", [&] { EXPECT_EQ(VekBf_GetInputSamples(beam.handle(), &samples), 0u); });
    EXPECT_EQ(samples, static_cast<uint32_t>(128 * mics));
    EXPECT_EQ(beam.configure(), VEK_BF_OK);
    EXPECT_EQ(VekBf_GetInputSamples(beam.handle(), &samples), 0u);
    EXPECT_EQ(samples, static_cast<uint32_t>(128 * mics));
  }
}

TEST(GetInputSamples, WrapsForMicrophoneNumbersOutOfRange) {
  const struct {
    int32_t mics;
    uint32_t samples;
  } cases[] = {{-1, 0xffffff80u}, {5, 640}, {0x02000000, 0}, {INT_MAX, 0xffffff80u}, {INT_MIN, 0}};
  for (const auto& c : cases) {
    Beam beam(array_of(c.mics));
    uint32_t samples = 7;
    EXPECT_EQ(VekBf_GetInputSamples(beam.handle(), &samples), 0u);
    EXPECT_EQ(samples, c.samples) << c.mics;
  }
}

TEST(GetInputSamples, RefusesNullPointersWithoutWriting) {
  const std::string line = error_line("VekBf_GetInputSamples", "The handle is NULL");
  uint32_t samples = 7;
  expect_printed(line, [&] { EXPECT_EQ(VekBf_GetInputSamples(nullptr, &samples), 0x30000402u); });
  EXPECT_EQ(samples, 7u);
  Beam beam(array_of(2));
  const std::vector<uint8_t> before = beam.bytes();
  expect_printed(line,
                 [&] { EXPECT_EQ(VekBf_GetInputSamples(beam.handle(), nullptr), 0x30000402u); });
  EXPECT_EQ(beam.bytes(), before);
}

TEST(Free, RefusesANullHandle) {
  uint32_t code = 0;
  EXPECT_EQ(printed([&] { code = VekBf_Free(nullptr); }),
            error_line("VekBf_Free", "The handle is NULL"));
  EXPECT_EQ(code, 0x30000402u);
}

TEST(Free, ZeroesTheWholeBufferOfAConfiguredInstanceAndPrintsNothing) {
  for (VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    Random random(32);
    WorkBuffer buffer(0);
    const VekBfInit init = array_of(4, algorithm);
    VekBfHandle handle = VekBf_Init(buffer.get(), &init);
    printed([&] { ASSERT_EQ(VekBf_SetConfig(handle, &kConfig), VEK_BF_OK); });
    Block out(kHopSize);
    for (int b = 0; b < 5; ++b) VekBf_Run(handle, noise_block(random, 4).data(), out.data(), 60);
    // Also what the record leaves spare.
    std::memset(static_cast<char*>(buffer.get()) + sizeof(Instance), 0xa5,
                kWorkBufferSize - sizeof(Instance));
    expect_printed("", [&] { EXPECT_EQ(VekBf_Free(handle), VEK_BF_OK); });
    EXPECT_TRUE(all_zero(buffer.bytes()));
  }
}

TEST(Free, BeforeAnyConfigurationPrintsTheBareLineOfTheMissingTransform) {
  WorkBuffer buffer(0xa5);
  const VekBfInit init = array_of(2);
  VekBfHandle handle = VekBf_Init(buffer.get(), &init);
  expect_printed("[FFT FREE]: The handle is NULL\n",
                 [&] { EXPECT_EQ(VekBf_Free(handle), VEK_BF_OK); });
  EXPECT_TRUE(all_zero(buffer.bytes()));
}

TEST(Free, TwiceFindsNothingToReleaseTheSecondTime) {
  WorkBuffer buffer(0);
  const VekBfInit init = array_of(2);
  VekBfHandle handle = VekBf_Init(buffer.get(), &init);
  printed([&] { ASSERT_EQ(VekBf_SetConfig(handle, &kConfig), VEK_BF_OK); });
  expect_printed("", [&] { EXPECT_EQ(VekBf_Free(handle), VEK_BF_OK); });
  expect_printed("[FFT FREE]: The handle is NULL\n",
                 [&] { EXPECT_EQ(VekBf_Free(handle), VEK_BF_OK); });
  EXPECT_TRUE(all_zero(buffer.bytes()));
}

TEST(Lifecycle, AnInitialisedInstanceHasNoTransformAndNoDetector) {
  Beam beam(array_of(4), 0xff);
  EXPECT_EQ(beam.record().fftState, nullptr);
  EXPECT_EQ(beam.record().vadState, nullptr);
}

TEST(Lifecycle, AReleasedBufferCanBecomeAnInstanceAgain) {
  const VekBfInit init = array_of(2, VEK_ADAPTIVE_BF);
  WorkBuffer buffer(0);
  std::vector<Block> outputs[2];
  for (auto& out : outputs) {
    Random random(33);
    VekBfHandle handle = VekBf_Init(buffer.get(), &init);
    printed([&] { ASSERT_EQ(VekBf_SetConfig(handle, &kConfig), VEK_BF_OK); });
    for (int b = 0; b < 8; ++b) {
      out.emplace_back(kHopSize);
      VekBf_Run(handle, noise_block(random, 2).data(), out.back().data(), 60);
    }
    VekBf_Free(handle);
  }
  EXPECT_EQ(outputs[0], outputs[1]);
}

TEST(Lifecycle, TheCallersRecordsMayGoAfterTheCall) {
  WorkBuffer buffer(0);
  auto init = std::make_unique<VekBfInit>(array_of(3));
  auto config = std::make_unique<VekBfConfig>(kConfig);
  VekBfHandle handle = VekBf_Init(buffer.get(), init.get());
  init.reset();
  printed([&] { ASSERT_EQ(VekBf_SetConfig(handle, config.get()), VEK_BF_OK); });
  config.reset();
  Random random(34);
  Block out(kHopSize);
  EXPECT_EQ(VekBf_Run(handle, noise_block(random, 3).data(), out.data(), 0), VEK_BF_OK);
  printed([&] { EXPECT_EQ(VekBf_GetConfig(handle), VEK_BF_OK); });
  VekBf_Free(handle);
}

TEST(Lifecycle, InstancesShareNothing) {
  const VekBfInit first = array_of(2, VEK_ADAPTIVE_BF);
  const VekBfInit second = array_of(4, VEK_FIXED_BF, VEK_BF_UNIFORM_TRIANGLE_ARRAY);
  const auto stream = [](int channels, uint64_t seed) {
    Random random(seed);
    std::vector<Block> blocks;
    for (int b = 0; b < 6; ++b) blocks.push_back(noise_block(random, channels));
    return blocks;
  };
  const std::vector<Block> in_a = stream(2, 35), in_b = stream(4, 36);

  std::vector<Block> alone_a, alone_b, together_a, together_b;
  {
    Beam a(first), b(second);
    a.configure();
    b.configure();
    for (const Block& block : in_a) alone_a.push_back(a.run(block, 60));
    for (const Block& block : in_b) alone_b.push_back(b.run(block, 200));
  }
  Beam a(first), b(second);
  a.configure();
  b.configure();
  for (size_t i = 0; i < in_a.size(); ++i) {
    together_a.push_back(a.run(in_a[i], 60));
    together_b.push_back(b.run(in_b[i], 200));
  }
  EXPECT_EQ(together_a, alone_a);
  EXPECT_EQ(together_b, alone_b);
}

}  // namespace
}  // namespace vekbf::test
