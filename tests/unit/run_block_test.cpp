// SPDX-License-Identifier: MIT
#include "api/run_block.h"

#include <gtest/gtest.h>

#include <climits>
#include <memory>

#include "fft/fft.h"
#include "noise/vad.h"
#include "support/beam.h"
#include "support/records.h"

namespace vekbf::test {
namespace {

constexpr VekBfAlgorithm kAlgorithms[] = {VEK_FIXED_BF, VEK_ADAPTIVE_BF};
constexpr const char* kZeroFrameLine = "[ALGO_MSG_WRN, VekBf_Run] Zero Frame!\n";
const Block kSilence(kHopSize);

// An instance in the middle of a stream.
void warm_up(Beam& beam, int channels, int blocks = 5) {
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  Random random(51);
  for (int b = 0; b < blocks; ++b) beam.run(noise_block(random, channels), 70);
}

struct Everything {
  std::vector<uint8_t> record, owned;
  explicit Everything(Beam& beam) : record(beam.bytes()), owned(owned_bytes(beam.record())) {}
  bool operator==(const Everything&) const = default;
};

TEST(RunNull, HandleIsRefused) {
  Block in(kHopSize, 1), out(kHopSize, 7);
  const std::string line = error_line("VekBf_Run", "The handle is NULL");
  expect_printed(line,
                 [&] { EXPECT_EQ(VekBf_Run(nullptr, in.data(), out.data(), 0), 0x30000402u); });
  expect_printed(line, [&] { EXPECT_EQ(VekBf_Run(nullptr, nullptr, nullptr, 0), 0x30000402u); });
  EXPECT_EQ(out, Block(kHopSize, 7));
}

TEST(RunNull, BlockIsRefusedLikeAHandleAndChangesNothing) {
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    Beam beam(array_of(2, algorithm));
    warm_up(beam, 2);
    const Everything before(beam);
    Block in(2 * kHopSize, 1), out(kHopSize, 7);
    const std::string line = error_line("VekBf_Run", "The handle is NULL");
    expect_printed(
        line, [&] { EXPECT_EQ(VekBf_Run(beam.handle(), nullptr, out.data(), 5), 0x30000402u); });
    expect_printed(
        line, [&] { EXPECT_EQ(VekBf_Run(beam.handle(), in.data(), nullptr, 5), 0x30000402u); });
    EXPECT_TRUE(Everything(beam) == before);
    EXPECT_EQ(out, Block(kHopSize, 7));
  }
}

// Only steerAngle may change: the record, the transform and the detector are compared byte by byte.
void expect_zero_block(Beam& beam, const Block& in) {
  Everything before(beam);
  Block out(kHopSize, 7);
  expect_printed(kZeroFrameLine, [&] {
    EXPECT_EQ(VekBf_Run(beam.handle(), in.data(), out.data(), -123), VEK_BF_OK);
  });
  EXPECT_EQ(out, kSilence);
  EXPECT_EQ(beam.record().steerAngle, -123);
  const int32_t angle = -123;
  std::memcpy(before.record.data() + offsetof(Instance, steerAngle), &angle, sizeof angle);
  EXPECT_TRUE(Everything(beam) == before) << "a zero block changed more than the angle";
}

TEST(ZeroFrame, OfAnyNumberOfMicrophonesChangesNothingButTheAngle) {
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    for (int mics = 1; mics <= 4; ++mics) {
      Beam beam(array_of(mics, algorithm));
      warm_up(beam, mics);
      expect_zero_block(beam, Block(static_cast<size_t>(mics * kHopSize)));
    }
  }
}

TEST(ZeroFrame, OnlyTheFirst128ValuesCount) {
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    for (int mics = 2; mics <= 4; ++mics) {
      Beam beam(array_of(mics, algorithm));
      warm_up(beam, mics);
      Block in(static_cast<size_t>(mics * kHopSize));
      for (size_t i = kHopSize; i < in.size(); ++i) in[i] = 1000;
      expect_zero_block(beam, in);
    }
  }
}

TEST(ZeroFrame, ASingleMicrophoneIsTestedToTheEndOfItsBlock) {
  Beam beam(array_of(1));
  warm_up(beam, 1);
  Block in(kHopSize);
  in[kHopSize - 1] = 1;
  Block out(kHopSize);
  EXPECT_EQ(printed([&] { VekBf_Run(beam.handle(), in.data(), out.data(), 0); }), "");
  EXPECT_EQ(beam.record().blockCounter, 7);
}

TEST(ZeroFrame, AnySampleAmongTheFirst32FramesOfFourMicrophonesIsSeen) {
  Beam beam(array_of(4));
  warm_up(beam, 4);
  Block in(4 * kHopSize), out(kHopSize);
  in[32 * 4 - 1] = 1;
  EXPECT_EQ(printed([&] { VekBf_Run(beam.handle(), in.data(), out.data(), 0); }), "");
  EXPECT_EQ(beam.record().blockCounter, 7);
  in[32 * 4 - 1] = 0;
  in[32 * 4] = 1;
  expect_zero_block(beam, in);
}

TEST(ZeroFrame, FullScaleThatWrapsToZeroIsTreatedAsOne) {
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    Beam beam(array_of(2, algorithm));
    warm_up(beam, 2);
    Block in(2 * kHopSize);
    for (size_t i = 0; i < kHopSize; ++i) in[i] = -32768;
    expect_zero_block(beam, in);
    in.assign(2 * kHopSize, 0);
    for (size_t i : {3u, 40u, 77u, 127u}) in[i] = -32768;
    expect_zero_block(beam, in);
  }
}

TEST(ZeroFrame, ThreeOfFullScaleAreNone) {
  Beam beam(array_of(1));
  warm_up(beam, 1);
  Block in(kHopSize), out(kHopSize);
  for (size_t i : {3u, 40u, 77u}) in[i] = -32768;
  EXPECT_EQ(printed([&] { VekBf_Run(beam.handle(), in.data(), out.data(), 0); }), "");
}

TEST(ZeroFrame, AnInstanceWithoutMicrophonesIsTestedOn128ValuesToo) {
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    Beam beam(array_of(0, algorithm));
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    expect_zero_block(beam, Block(kHopSize));
  }
}

TEST(ZeroFrame, JoinsTheBlocksAroundItAsIfItHadNotCome) {
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    Random random(52);
    Beam with(array_of(2, algorithm)), without(array_of(2, algorithm));
    ASSERT_EQ(with.configure(), VEK_BF_OK);
    ASSERT_EQ(without.configure(), VEK_BF_OK);
    for (int b = 0; b < 8; ++b) {
      const Block in = noise_block(random, 2);
      printed([&] { EXPECT_EQ(with.run(Block(2 * kHopSize), 3 * b), kSilence); });
      EXPECT_EQ(with.run(in, 40), without.run(in, 40)) << "block " << b;
    }
    EXPECT_TRUE(same_instances(with.record(), without.record()));
    EXPECT_TRUE(same_detectors(with.record().vadState, without.record().vadState));
  }
}

TEST(ZeroFrame, ItsAngleIsInForceUntilTheNextBlockBringsItsOwn) {
  Random random(53);
  Beam beam(array_of(2));
  warm_up(beam, 2);
  printed([&] { beam.run(Block(2 * kHopSize), 15); });
  EXPECT_EQ(beam.record().steerAngle, 15);
  beam.run(noise_block(random, 2), 25);
  EXPECT_EQ(beam.record().steerAngle, 25);
}

TEST(RunBlock, PrintsNothing) {
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    for (VekBfGeometry geometry : {VEK_BF_UNIFORM_LINEAR_ARRAY, VEK_BF_UNIFORM_TRIANGLE_ARRAY}) {
      for (int mics = 0; mics <= 4; ++mics) {
        Random random(54);
        Beam beam(array_of(mics, algorithm, geometry));
        ASSERT_EQ(beam.configure(), VEK_BF_OK);
        EXPECT_EQ(printed([&] {
                    for (int b = 0; b < 3; ++b) {
                      beam.run(noise_block(random, std::max(mics, 1)), 33);
                    }
                  }),
                  "");
      }
    }
  }
}

TEST(RunBlock, GeometriesWithoutSteeringPrintOneBareLinePerBlock) {
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    for (VekBfGeometry geometry : {VEK_BF_UNIFORM_RECTANGLE_ARRAY, VEK_BF_UNIFORM_CIRCULAR_ARRAY}) {
      Random random(55);
      Beam beam(array_of(4, algorithm, geometry));
      ASSERT_EQ(beam.configure(), VEK_BF_OK);
      for (int b = 0; b < 5; ++b) {
        Block out;
        EXPECT_EQ(printed([&] { out = beam.run(noise_block(random, 4), 33); }),
                  "Invalid microphone array geometry!\n");
        EXPECT_TRUE(algorithm == VEK_ADAPTIVE_BF || out == kSilence);
      }
    }
  }
}

TEST(RunBlock, StoresTheAngleOfEveryCall) {
  Random random(56);
  Beam beam(array_of(2));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  for (int32_t angle : {0, 90, -45, 720, INT_MAX, INT_MIN}) {
    beam.run(noise_block(random, 2), angle);
    EXPECT_EQ(beam.record().steerAngle, angle);
  }
}

TEST(RunBlock, CounterReadsOneMoreThanTheProcessedBlocks) {
  Random random(57);
  Beam beam(array_of(1));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  EXPECT_EQ(beam.record().blockCounter, 1);
  for (int32_t b = 1; b <= 20; ++b) {
    beam.run(noise_block(random, 1));
    EXPECT_EQ(beam.record().blockCounter, b + 1);
    printed([&] { beam.run(kSilence); });
    EXPECT_EQ(beam.record().blockCounter, b + 1);
  }
}

TEST(RunBlock, CounterWraps) {
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    Random random(58);
    Beam beam(array_of(1, algorithm));
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    beam.record().blockCounter = INT_MAX;
    beam.run(noise_block(random, 1));
    EXPECT_EQ(beam.record().blockCounter, INT_MIN);
    beam.record().blockCounter = -1;
    beam.run(noise_block(random, 1));
    EXPECT_EQ(beam.record().blockCounter, 0);
  }
}

TEST(RunBlock, HistoriesHoldTheLast512SamplesOfEachMicrophoneUnscaled) {
  for (int mics = 1; mics <= 4; ++mics) {
    Random random(59);
    Beam beam(array_of(mics));
    ASSERT_EQ(beam.configure(), VEK_BF_OK);
    std::vector<std::vector<float>> heard(static_cast<size_t>(mics),
                                          std::vector<float>(kFrameSize));
    for (int b = 0; b < 6; ++b) {
      const Block in = noise_block(random, mics, 32767);
      beam.run(in);
      for (size_t i = 0; i < in.size(); ++i) heard[i % heard.size()].push_back(in[i]);
      for (size_t m = 0; m < heard.size(); ++m) {
        EXPECT_TRUE(same_floats(beam.record().micHistory[m],
                                heard[m].data() + heard[m].size() - kFrameSize, kFrameSize));
      }
    }
    // Rows without a microphone are left alone.
    const float zeros[kFrameSize] = {};
    for (int m = mics; m < kMaxMics; ++m) {
      EXPECT_TRUE(same_field(beam.record().micHistory[m], zeros));
      EXPECT_TRUE(same_field(beam.record().fftScratch[m], zeros));
    }
  }
}

TEST(RunBlock, ScratchIsTheWindowedHistoryAndTheSpectrumItsTransform) {
  Random random(60);
  Beam beam(array_of(3));
  warm_up(beam, 3);
  beam.run(noise_block(random, 3));
  Instance& record = beam.record();
  for (int m = 0; m < 3; ++m) {
    float frame[kFrameSize];
    for (int i = 0; i < kFrameSize; ++i) {
      frame[i] = record.micHistory[m][i] * record.fftState->window[i];
    }
    EXPECT_TRUE(same_field(record.fftScratch[m], frame));
    Complex spectrum[kBinCount];
    fft_real_forward(spectrum, frame, record.fftState->plan);
    EXPECT_TRUE(same_field(record.micSpectrum[m], spectrum));
    EXPECT_TRUE(same_field(record.savedSpectrum[m], spectrum));
  }
}

// The block that a call returns and the accumulator that it leaves are together the accumulator
// that the frame filled.
TEST(RunBlock, TheOldestHopGoesOutAndTheNewestIsCleared) {
  Random random(61);
  Beam beam(array_of(2)), twin(array_of(2));
  warm_up(beam, 2);
  warm_up(twin, 2);
  const Block in = noise_block(random, 2);
  const Block out = beam.run(in, 50);
  // The same frame once more, on an accumulator that holds a ramp.
  std::vector<int16_t> before(kFrameSize), ramp(kFrameSize);
  for (size_t i = 0; i < kFrameSize; ++i) {
    before[i] = twin.record().outputOverlap[i];
    ramp[i] = static_cast<int16_t>(100 * i);
    twin.record().outputOverlap[i] = ramp[i];
  }
  const Block shifted = twin.run(in, 50);
  for (size_t i = 0; i < kHopSize; ++i) {
    EXPECT_EQ(static_cast<int16_t>(shifted[i] - ramp[i]), static_cast<int16_t>(out[i] - before[i]));
  }
  for (size_t i = 0; i < kFrameSize; ++i) {
    const int16_t left = beam.record().outputOverlap[i];
    const int16_t left_of_twin = twin.record().outputOverlap[i];
    if (i < kKeptSize) {
      EXPECT_EQ(static_cast<int16_t>(left_of_twin - ramp[i + kHopSize]),
                static_cast<int16_t>(left - before[i + kHopSize]));
    } else {
      EXPECT_EQ(left, 0);
      EXPECT_EQ(left_of_twin, 0);
    }
  }
}

TEST(RunBlock, WritesExactly128Samples) {
  Random random(62);
  Beam beam(array_of(2));
  warm_up(beam, 2);
  Block out(3 * kHopSize, 77);
  VekBf_Run(beam.handle(), noise_block(random, 2).data(), out.data() + kHopSize, 0);
  printed([&] { VekBf_Run(beam.handle(), Block(2 * kHopSize).data(), out.data() + kHopSize, 0); });
  for (size_t i = 0; i < kHopSize; ++i) {
    EXPECT_EQ(out[i], 77);
    EXPECT_EQ(out[2 * kHopSize + i], 77);
  }
}

TEST(RunBlock, LeavesTheInputAlone) {
  Random random(63);
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    Beam beam(array_of(4, algorithm));
    warm_up(beam, 4);
    const Block in = noise_block(random, 4);
    const Block copy = in;
    beam.run(in, 10);
    EXPECT_EQ(in, copy);
  }
}

TEST(RunBlock, InputAndOutputMayBeTheSameMemory) {
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    for (int mics = 1; mics <= 4; ++mics) {
      Random random(64);
      Beam apart(array_of(mics, algorithm)), in_place(array_of(mics, algorithm));
      ASSERT_EQ(apart.configure(), VEK_BF_OK);
      ASSERT_EQ(in_place.configure(), VEK_BF_OK);
      for (int b = 0; b < 6; ++b) {
        Block block = noise_block(random, mics);
        const Block expected = apart.run(block, 120);
        VekBf_Run(in_place.handle(), block.data(), block.data(), 120);
        block.resize(kHopSize);
        EXPECT_EQ(block, expected);
      }
      Block zeros(static_cast<size_t>(mics * kHopSize));
      zeros.back() = mics > 1 ? int16_t{9} : int16_t{0};
      printed([&] { VekBf_Run(in_place.handle(), zeros.data(), zeros.data(), 0); });
      EXPECT_EQ(Block(zeros.begin(), zeros.begin() + kHopSize), kSilence);
      EXPECT_EQ(zeros.back(), mics > 1 ? 9 : 0);
    }
  }
}

TEST(Dispatch, OnlyOneSelectsTheAdaptiveBeamformer) {
  Random random(65);
  std::vector<Block> in;
  for (int b = 0; b < 8; ++b) in.push_back(noise_block(random, 2));
  const auto outputs = [&](int32_t algorithm) {
    Beam beam(array_of(2, static_cast<VekBfAlgorithm>(algorithm)));
    EXPECT_EQ(beam.configure(), VEK_BF_OK);
    std::vector<Block> out;
    for (const Block& block : in) out.push_back(beam.run(block, 30));
    // The detector runs on the adaptive path only.
    EXPECT_EQ(beam.record().vadState->mcra->frameCount, algorithm == 1 ? 9 : 1) << algorithm;
    return out;
  };
  const std::vector<Block> fixed = outputs(0);
  EXPECT_NE(outputs(1), fixed);
  for (int32_t algorithm : {2, 5, -1, INT_MIN, INT_MAX}) EXPECT_EQ(outputs(algorithm), fixed);
}

TEST(Silence, ComesFromAnInstanceWithoutMicrophones) {
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    for (int32_t mics : {0, -1, INT_MIN}) {
      Beam beam(array_of(mics, algorithm));
      ASSERT_EQ(beam.configure(), VEK_BF_OK);
      Random random(66);
      for (int b = 0; b < 6; ++b) {
        // Exactly 128 values: no more may be read.
        EXPECT_EQ(beam.run(noise_block(random, 1), 10 * b), kSilence);
        EXPECT_EQ(beam.record().blockCounter, b + 2);
      }
      const float zeros[kMaxMics][kFrameSize] = {};
      EXPECT_TRUE(same_field(beam.record().micHistory, zeros));
    }
  }
}

// The record is all there is to look at, so a stray write would show up as a difference elsewhere.
TEST(Unconfigured, RunsThroughTheLoggedRefusalsIntoSilence) {
  const std::string refusal = error_line("do_fft", "FFT work buffer is NULL");
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    for (int32_t mics = 0; mics <= 9; ++mics) {
      const VekBfInit init = array_of(mics, algorithm);
      Beam beam(init);
      const int rows = std::min(mics, 4);
      Random random(67);
      for (int b = 0; b < 3; ++b) {
        // With more than four microphones exactly the first 128 values are read.
        const Block in = noise_block(random, mics > 4 ? 1 : std::max(mics, 1));
        Block out;
        const std::string lines = printed([&] { out = beam.run(in, 60); });
        EXPECT_EQ(out, kSilence);
        // One refusal per forward transform, one from the detector, one for the inverse.
        std::string expected;
        for (int m = 0; m < rows; ++m) expected += refusal;
        if (algorithm == VEK_ADAPTIVE_BF) expected += error_line("vad_run", "Vad handle is NULL");
        EXPECT_EQ(lines, expected + refusal) << mics << " microphones";
        EXPECT_EQ(beam.record().blockCounter, b + 1);
        EXPECT_EQ(beam.record().steerAngle, 60);
      }
    }
  }
}

TEST(Unconfigured, MicrophonesOutOfRangeNeverReachOutsideTheRecord) {
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    for (int32_t mics : {5, 9, 1000, 0x20000000, INT_MAX, -1, -5, INT_MIN}) {
      std::vector<uint8_t> memory(kWorkBufferSize + 64, 0xa5);
      const VekBfInit init = array_of(mics, algorithm);
      VekBfHandle handle = VekBf_Init(memory.data() + 32, &init);
      Random random(68);
      const Block in = noise_block(random, 1);
      Block out(kHopSize, 7);
      printed([&] {
        for (int b = 0; b < 2; ++b) EXPECT_EQ(VekBf_Run(handle, in.data(), out.data(), 1), 0u);
      });
      EXPECT_EQ(out, kSilence);
      for (size_t i = 0; i < 32; ++i) {
        EXPECT_EQ(memory[i], 0xa5);
        EXPECT_EQ(memory[kWorkBufferSize + 32 + i], 0xa5);
      }
      printed([&] { EXPECT_EQ(VekBf_Free(handle), VEK_BF_OK); });
    }
  }
}

TEST(Unconfigured, TooManyMicrophonesSlideZerosIntoFourHistories) {
  Beam beam(array_of(7));
  Instance& record = beam.record();
  for (auto& row : record.micHistory) {
    for (float& x : row) x = 2.0f;
  }
  Random random(69);
  printed([&] { beam.run(noise_block(random, 1)); });
  for (const auto& row : record.micHistory) {
    for (int i = 0; i < kFrameSize; ++i) EXPECT_EQ(row[i], i < kKeptSize ? 2.0f : 0.0f);
  }
}

TEST(Unconfigured, EveryGeometryAndAnyRecordIsSafe) {
  const uint64_t seed = test_seed(70);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (int round = 0; round < 200; ++round) {
    VekBfInit init;
    init.sampleRate = random.next32();
    init.bitWidth = static_cast<int32_t>(random.next32());
    init.micNum = random.below(12) - 2;
    init.soundSpeed = random.below(3) == 0 ? 0 : static_cast<int32_t>(random.next32());
    init.algorithm = static_cast<VekBfAlgorithm>(random.below(3));
    init.geometry = static_cast<VekBfGeometry>(random.below(6) - 1);
    for (auto& pair : init.micCoordinate) {
      pair[0] = random.any_float();
      pair[1] = random.any_float();
    }
    Beam beam(init, 0xff);
    const int32_t channels = init.micNum > 4 ? 1 : std::max(init.micNum, 1);
    const Block in = noise_block(random, channels, 32767);
    printed([&] {
      EXPECT_EQ(beam.run(in, static_cast<int32_t>(random.next32())), kSilence);
      EXPECT_EQ(beam.run(in, 0), kSilence);
      VekBf_GetConfig(beam.handle());
    });
  }
}

// The blocking coefficients outlive a configuration, so blocks that came too early must not reach
// them.
TEST(Unconfigured, BlocksBeforeTheConfigurationLeaveNoTrace) {
  for (VekBfAlgorithm algorithm : kAlgorithms) {
    const VekBfInit init = array_of(2, algorithm);
    Beam early(init), fresh(init);
    Random random(73);
    for (int b = 0; b < 3; ++b) {
      const Block in = noise_block(random, 2);
      printed([&] { EXPECT_EQ(early.run(in, 60), kSilence); });
    }
    ASSERT_EQ(early.configure(), VEK_BF_OK);
    ASSERT_EQ(fresh.configure(), VEK_BF_OK);
    bool heard = false;
    for (int b = 0; b < 8; ++b) {
      const Block in = noise_block(random, 2);
      const Block out = early.run(in, 60);
      EXPECT_EQ(out, fresh.run(in, 60)) << "block " << b;
      EXPECT_TRUE(same_instances(early.record(), fresh.record())) << "block " << b;
      heard = heard || out != kSilence;
    }
    EXPECT_TRUE(heard);
  }
}

// With one microphone nothing is steered, so the frames can be followed by hand: after block n the
// output is still silent while the samples wait in the accumulator, weighted by the squared window
// once for every frame that has held them.
TEST(Start, TheFirstThreeOutputsAreBuiltFromPartlyEmptyFrames) {
  Random random(71);
  Beam beam(array_of(1));
  ASSERT_EQ(beam.configure(), VEK_BF_OK);
  std::vector<double> heard(kFrameSize);
  std::vector<double> pending(kFrameSize);
  for (int b = 1; b <= 4; ++b) {
    const Block in = noise_block(random, 1);
    const Block out = beam.run(in);
    heard.insert(heard.end(), in.begin(), in.end());
    for (size_t i = 0; i < kFrameSize; ++i) {
      const double w = 0.54 - 0.46 * std::cos(6.283185307179586 * static_cast<double>(i) / 512);
      pending[i] += 0.5 * w * w * heard[heard.size() - kFrameSize + i];
    }
    for (size_t i = 0; i < kHopSize; ++i) {
      if (b < 4) {
        EXPECT_EQ(out[i], 0) << "block " << b;
      } else {
        EXPECT_NEAR(out[i], pending[i], 4.0);
      }
    }
    pending.erase(pending.begin(), pending.begin() + kHopSize);
    pending.resize(kFrameSize);
    for (size_t i = 0; i < kFrameSize; ++i) {
      // Each frame truncates: at most one unit for each of the b frames so far.
      EXPECT_NEAR(beam.record().outputOverlap[i], pending[i], 1.0 * b);
    }
  }
}

}  // namespace
}  // namespace vekbf::test
