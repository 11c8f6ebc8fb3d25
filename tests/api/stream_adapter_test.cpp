// SPDX-License-Identifier: MIT
//
// The stream adapter of the examples against the plain sequence of calls that it stands for.
#include "stream_adapter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <random>
#include <vector>

namespace {

int allocations = 0;
bool memoryIsOut = false;

}  // namespace

// The linker sends the adapter's own calls here.
extern "C" {
void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size);
void* __wrap_malloc(size_t size) {
  allocations++;
  return memoryIsOut ? nullptr : __real_malloc(size);
}
}

namespace {

using Samples = std::vector<std::int16_t>;
// Length of the next chunk.
using Chunks = std::function<std::size_t()>;
// Degrees, by the number of the block.
using Angles = std::function<std::int32_t(std::size_t)>;

constexpr std::size_t kBlock = VEK_BF_BLOCK_FRAMES;
constexpr std::size_t kLag = VEK_BF_LAG_SAMPLES;

std::int32_t ahead(std::size_t) { return 90; }
std::int32_t turning(std::size_t block) { return static_cast<std::int32_t>(block * 7 % 360); }

VekBfInit line_of(int channels, VekBfAlgorithm algorithm = VEK_FIXED_BF) {
  VekBfInit array{};
  array.sampleRate = 16000;
  array.bitWidth = 16;
  array.micNum = channels;
  array.soundSpeed = 343;
  array.algorithm = algorithm;
  array.geometry = VEK_BF_UNIFORM_LINEAR_ARRAY;
  for (int m = 0; m < VEK_BF_MAX_MICS; m++) {
    array.micCoordinate[m][0] = 0.04f * static_cast<float>(m);
  }
  return array;
}

constexpr VekBfConfig kConfig = {0.5f, 5};

Samples noise(std::size_t frames, int channels, unsigned seed) {
  std::mt19937 random(seed);
  Samples samples(frames * static_cast<std::size_t>(channels));
  for (std::int16_t& s : samples) {
    s = static_cast<std::int16_t>(static_cast<int>(random() % 8001) - 4000);
  }
  return samples;
}

// Random lengths, among them none at all and more than the adapter's ring holds.
Chunks random_chunks(unsigned seed, std::size_t longest) {
  return [random = std::mt19937(seed), longest]() mutable { return random() % (longest + 1); };
}

// Block by block, as the library's header has it: silence behind the last frame, three blocks with
// a single 1 to bring out the rest, then the lag cut off in front and the silence behind.
Samples by_hand(const VekBfInit& array, Samples in, const Angles& angles) {
  const auto channels = static_cast<std::size_t>(array.micNum);
  const std::size_t frames = in.size() / channels;
  const std::size_t blocks = (frames + kBlock - 1) / kBlock;
  in.resize((blocks + 3) * kBlock * channels);
  for (std::size_t b = blocks; b < blocks + 3; b++) in[b * kBlock * channels] = 1;

  Samples out((blocks + 3) * kBlock);
  std::vector<std::uint64_t> buffer((VekBf_GetBufferSize() + 7) / 8);
  const VekBfHandle beam = VekBf_Init(buffer.data(), &array);
  EXPECT_EQ(VekBf_SetConfig(beam, &kConfig), VEK_BF_OK);
  for (std::size_t b = 0; b < blocks + 3; b++) {
    // Behind the end the beam stays where it was.
    const std::int32_t angle = angles(std::min(b, std::max<std::size_t>(blocks, 1) - 1));
    EXPECT_EQ(VekBf_Run(beam, &in[b * kBlock * channels], &out[b * kBlock], angle), VEK_BF_OK);
  }
  VekBf_Free(beam);
  const auto begin = out.begin() + static_cast<std::ptrdiff_t>(kLag);
  return Samples(begin, begin + static_cast<std::ptrdiff_t>(frames));
}

// A stream that closes itself.
struct Opened {
  explicit Opened(const VekBfInit& array, bool keepTime = false) {
    EXPECT_EQ(stream_open(&stream, &array, &kConfig, keepTime), VEK_BF_OK);
  }
  ~Opened() { stream_close(&stream); }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;
  Stream stream;
};

// Writes and reads in turn, then finishes and reads the rest. A new angle comes with the first
// frame of each block, and others, which must not count, with the frames after it.
Samples through(Stream& stream, const Samples& in, const Angles& angles, Chunks written,
                Chunks read) {
  const auto channels = static_cast<std::size_t>(stream.channels);
  const std::size_t frames = in.size() / channels;
  Samples out;
  const auto take = [&](std::size_t wanted) {
    Samples chunk(wanted);
    const std::size_t got = stream_read(&stream, chunk.data(), wanted);
    EXPECT_LE(got, wanted);
    out.insert(out.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(got));
    return got;
  };
  for (std::size_t done = 0; done < frames;) {
    const std::size_t inside = done % kBlock;
    const std::size_t chunk = std::min({written(), frames - done, kBlock - inside});
    const std::int32_t angle = inside == 0 ? angles(done / kBlock) : -77;
    done += stream_write(&stream, in.data() + done * channels, chunk, angle);
    take(read());
  }
  stream_finish(&stream);
  while (take(std::max<std::size_t>(read(), 1)) > 0) {
  }
  return out;
}

TEST(StreamAdapterTest, AnyChunkLengthsGiveWhatTheBlocksGive) {
  unsigned seed = 1;
  for (const int channels : {1, 2, 4}) {
    for (const VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
      for (const std::size_t frames : {0u, 1u, 127u, 128u, 129u, 383u, 384u, 385u, 3000u}) {
        SCOPED_TRACE(testing::Message() << channels << " channels, algorithm " << algorithm << ", "
                                        << frames << " frames");
        const VekBfInit array = line_of(channels, algorithm);
        const Samples in = noise(frames, channels, seed++);
        Opened opened(array);
        EXPECT_EQ(through(opened.stream, in, turning, random_chunks(seed, 200),
                          random_chunks(seed + 1, 300)),
                  by_hand(array, in, turning));
      }
    }
  }
}

TEST(StreamAdapterTest, OneWriteMayHoldManyBlocksAndTakesWhatThereIsRoomFor) {
  const VekBfInit array = line_of(2);
  const Samples in = noise(5000, 2, 3);
  Opened opened(array);
  Samples out;
  std::size_t done = 0;
  std::size_t partial = 0;
  while (done < 5000) {
    const std::size_t taken = stream_write(&opened.stream, in.data() + 2 * done, 5000 - done, 90);
    if (taken < 5000 - done) partial++;
    done += taken;
    Samples chunk(STREAM_OUT_LENGTH);
    chunk.resize(stream_read(&opened.stream, chunk.data(), chunk.size()));
    ASSERT_GT(taken + chunk.size(), 0u) << "stuck";
    out.insert(out.end(), chunk.begin(), chunk.end());
  }
  EXPECT_GT(partial, 0u);
  // Without reading in between there is no room in the end, and nothing is overwritten.
  stream_finish(&opened.stream);
  std::int16_t sample = 0;
  while (stream_read(&opened.stream, &sample, 1) == 1) out.push_back(sample);
  EXPECT_EQ(out, by_hand(array, in, ahead));
}

TEST(StreamAdapterTest, AFullRingTakesNothing) {
  Opened opened(line_of(1));
  const Samples in = noise(5000, 1, 4);
  // The lag is not stored; then the ring takes its length, and a last block waits unrun.
  std::size_t taken = 0;
  for (int i = 0; i < 50; i++) {
    taken += stream_write(&opened.stream, in.data() + taken, in.size() - taken, 90);
  }
  EXPECT_EQ(taken, kLag + STREAM_OUT_LENGTH);
  Samples out(in.size());
  EXPECT_EQ(stream_read(&opened.stream, out.data(), out.size()), std::size_t{STREAM_OUT_LENGTH});
}

TEST(StreamAdapterTest, ACallbackGetsAsManySamplesAsItGivesFrames) {
  for (const std::size_t longest : {1u, 100u, 128u, 480u, 2000u}) {
    SCOPED_TRACE(longest);
    const VekBfInit array = line_of(2, VEK_ADAPTIVE_BF);
    const std::size_t frames = 4000;
    const Samples in = noise(frames, 2, 5);
    Samples wanted(STREAM_DELAY);
    const Samples aligned = by_hand(array, in, ahead);
    wanted.insert(wanted.end(), aligned.begin(), aligned.end());
    wanted.resize(frames);

    Opened opened(array);
    Samples out(frames, 12345);
    Chunks chunks = random_chunks(6, longest);
    for (std::size_t done = 0; done < frames;) {
      const std::size_t chunk = std::min(chunks(), frames - done);
      stream_process(&opened.stream, in.data() + 2 * done, out.data() + done, chunk, 90);
      done += chunk;
    }
    EXPECT_EQ(out, wanted);
  }
}

// Speech, a pause of digital silence, speech; one microphone, so that the output is the input at
// 0.7948 of its level.
struct WithPause {
  static constexpr std::size_t kBegin = 10 * kBlock, kEnd = 30 * kBlock, kAll = 40 * kBlock;
  WithPause() : in(noise(kAll, 1, 7)) {
    std::fill(in.begin() + kBegin, in.begin() + kEnd, std::int16_t{0});
  }
  Samples in;
};

TEST(StreamAdapterTest, AKeptTimeKeepsEverySampleInItsPlace) {
  const WithPause pause;
  Opened opened(line_of(1), true);
  const Samples out =
      through(opened.stream, pause.in, ahead, random_chunks(8, 150), random_chunks(9, 150));
  ASSERT_EQ(out.size(), pause.in.size());
  EXPECT_EQ(opened.stream.zero_blocks, 20u);
  for (std::size_t t = 0; t < out.size(); t++) {
    ASSERT_NEAR(out[t], 0.7948 * pause.in[t], 4.0) << t;
  }
}

TEST(StreamAdapterTest, OtherwiseThePauseHoldsBackWhatWasOnItsWay) {
  const WithPause pause;
  Opened opened(line_of(1));
  const Samples out =
      through(opened.stream, pause.in, ahead, random_chunks(8, 150), random_chunks(9, 150));
  ASSERT_EQ(out.size(), pause.in.size());
  EXPECT_EQ(opened.stream.zero_blocks, 20u);
  EXPECT_EQ(out, by_hand(line_of(1), pause.in, ahead));
  // Three blocks before the pause the output falls silent, and goes on with them after it.
  const std::size_t held = WithPause::kBegin - kLag;
  const std::size_t shift = WithPause::kEnd - WithPause::kBegin;
  for (std::size_t t = held; t < held + shift; t++) ASSERT_EQ(out[t], 0) << t;
  for (std::size_t t = held; t < WithPause::kBegin; t++) {
    ASSERT_NEAR(out[t + shift], 0.7948 * pause.in[t], 4.0) << t;
  }
}

TEST(StreamAdapterTest, BlocksWhoseSquaresWrapToZeroCountAsZeroBlocks) {
  const Samples loud(5 * kBlock, -32768);
  for (const bool keepTime : {false, true}) {
    Opened opened(line_of(1), keepTime);
    const Samples out = through(
        opened.stream, loud, ahead, [] { return kBlock; }, [] { return kBlock; });
    EXPECT_EQ(opened.stream.zero_blocks, 5u);
    EXPECT_EQ(out.size(), loud.size());
    // -32768 becomes -32767 once a block and is heard; without that, nothing is.
    EXPECT_EQ(std::all_of(out.begin(), out.end(), [](std::int16_t s) { return s == 0; }),
              !keepTime);
  }
}

TEST(StreamAdapterTest, TheFirstAndTheLastSampleStandAtTheirPlaces) {
  Opened opened(line_of(1));
  Samples in(300);
  in[0] = 10000;
  in[150] = 1;  // no block is dropped
  in[299] = 10000;
  const Samples out = through(opened.stream, in, ahead, random_chunks(1, 90), random_chunks(2, 90));
  ASSERT_EQ(out.size(), 300u);
  EXPECT_NEAR(out[0], 7948, 4);
  EXPECT_NEAR(out[299], 7948, 4);
}

TEST(StreamAdapterTest, AFinishedStreamTakesNoFrame) {
  Opened opened(line_of(1));
  const Samples in = noise(10, 1, 1);
  EXPECT_EQ(stream_write(&opened.stream, in.data(), 10, 90), 10u);
  stream_finish(&opened.stream);
  EXPECT_EQ(stream_write(&opened.stream, in.data(), 10, 90), 0u);
  std::int16_t out[20];
  EXPECT_EQ(stream_read(&opened.stream, out, 20), 10u);
  EXPECT_EQ(stream_read(&opened.stream, out, 20), 0u);
}

TEST(StreamAdapterTest, MemoryIsAllocatedOnceByOpening) {
  allocations = 0;
  Opened opened(line_of(4, VEK_ADAPTIVE_BF));
  EXPECT_EQ(allocations, 1);
  const Samples in = noise(3000, 4, 2);
  Samples out(3000);
  allocations = 0;
  stream_process(&opened.stream, in.data(), out.data(), 2000, 45);
  stream_write(&opened.stream, in.data(), 500, 45);
  stream_finish(&opened.stream);
  stream_read(&opened.stream, out.data(), 3000);
  EXPECT_EQ(allocations, 0);
}

TEST(StreamAdapterTest, FaultsAreTold) {
  Stream stream;
  VekBfInit array = line_of(2);
  array.sampleRate = 7999;
  EXPECT_EQ(stream_open(&stream, &array, &kConfig, 0), VEK_BF_ERR_SAMPLE_RATE);
  array = line_of(5);
  EXPECT_EQ(stream_open(&stream, &array, &kConfig, 0), VEK_BF_ERR_MIC_NUM);
  array = line_of(0);
  EXPECT_EQ(stream_open(&stream, &array, &kConfig, 0), STREAM_ERR_CHANNELS);
  array = line_of(2);
  memoryIsOut = true;
  EXPECT_EQ(stream_open(&stream, &array, &kConfig, 0), STREAM_ERR_MEMORY);
  memoryIsOut = false;
  stream_close(&stream);  // harmless
}

}  // namespace
