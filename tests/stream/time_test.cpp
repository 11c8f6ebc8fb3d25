// SPDX-License-Identifier: MIT
//
// Chunks of any length against the plain sequence of calls that they stand for: alignment, tail,
// delay, silence, angles.
#include <algorithm>
#include <cstdio>
#include <functional>

#include "stream/streams.h"

namespace vekbf::test {
namespace {

// Length of the next chunk.
using Chunks = std::function<size_t()>;

int32_t ahead(size_t) { return 90; }
int32_t turning(size_t block) { return static_cast<int32_t>(block * 7 % 360); }

// Random lengths, among them none at all.
Chunks random_chunks(unsigned seed, size_t longest) {
  return [random = std::mt19937(seed), longest]() mutable { return random() % (longest + 1); };
}

Settings line_of(size_t mics, const char* algorithm = "fixed", const char* keepTime = "no") {
  const std::string array = "line:" + std::to_string(mics) + ":40mm";
  return settings_of({{"array", array.c_str()},
                      {"algorithm", algorithm},
                      {"intensity", "5"},
                      {"keep-time", keepTime}});
}

// Reads up to `wanted` samples to the end of `out`.
size_t take(const Stream& stream, Samples& out, size_t wanted) {
  Samples chunk(wanted);
  const size_t got = VekStream_Read(stream.get(), VEK_STREAM_S16, chunk.data(), 1, wanted);
  EXPECT_LE(got, wanted);
  out.insert(out.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(got));
  return got;
}

// Writes and reads in turn, then finishes and reads the rest. A new angle is set before the first
// frame of each block, and others, which must not count, before the frames after it.
Samples through(const Stream& stream, const Samples& in, size_t channels, const BlockAngles& angles,
                Chunks written, Chunks read) {
  const size_t frames = in.size() / channels;
  Samples out;
  for (size_t done = 0; done < frames;) {
    const size_t inside = done % kBlock;
    EXPECT_EQ(VekStream_FramesToBlock(stream.get()), kBlock - inside);
    const size_t chunk = std::min({written(), frames - done, kBlock - inside});
    VekStream_Steer(stream.get(), inside == 0 ? angles(done / kBlock) : -77);
    done += VekStream_WriteInterleaved(stream.get(), VEK_STREAM_S16, in.data() + done * channels,
                                       chunk);
    if (chunk > 0) {
      EXPECT_EQ(VekStream_GetAngle(stream.get()), angles((done - 1) / kBlock));
    }
    take(stream, out, read());
  }
  VekStream_Finish(stream.get());
  while (take(stream, out, std::max<size_t>(read(), 1)) > 0) {
  }
  return out;
}

TEST(StreamTime, AnyChunkLengthsGiveWhatTheBlocksGive) {
  unsigned seed = 1;
  for (const size_t mics : {1u, 2u, 4u}) {
    for (const char* algorithm : {"fixed", "adaptive"}) {
      for (const size_t frames : {0u, 1u, 127u, 128u, 129u, 383u, 384u, 385u, 9000u}) {
        SCOPED_TRACE(testing::Message()
                     << mics << " microphones, " << algorithm << ", " << frames << " frames");
        const Settings settings = line_of(mics, algorithm);
        const Samples in = noise(frames, mics, seed++);
        const Stream stream = open_stream(settings, static_cast<int32_t>(mics));
        EXPECT_EQ(through(stream, in, mics, turning, random_chunks(seed, 200),
                          random_chunks(seed + 1, 300)),
                  by_hand(settings, in, turning).out);
        EXPECT_EQ(counts_of(stream).frames, frames);
        EXPECT_EQ(counts_of(stream).blocks, (frames + kBlock - 1) / kBlock);
      }
    }
  }
}

TEST(StreamTime, AWriteTakesWhatThereIsRoomForAndNothingIsLost) {
  const Settings settings = line_of(2);
  const size_t frames = 20000;
  const Samples in = noise(frames, 2, 3);
  const Stream stream = open_stream(settings, 2);
  Samples out;
  size_t partial = 0;
  for (size_t done = 0; done < frames;) {
    EXPECT_EQ(VekStream_Available(stream.get()), 0u);
    const size_t wanted = frames - done;
    const size_t taken =
        VekStream_WriteInterleaved(stream.get(), VEK_STREAM_S16, in.data() + 2 * done, wanted);
    ASSERT_GE(taken, std::min<size_t>(wanted, VEK_STREAM_ROOM));
    if (taken < wanted) partial++;
    done += taken;
    // Without reading there is no more room.
    EXPECT_EQ(VekStream_WriteInterleaved(stream.get(), VEK_STREAM_S16, in.data(), 1),
              taken < wanted ? 0u : 1u);
    if (taken == wanted) break;
    const size_t available = VekStream_Available(stream.get());
    EXPECT_EQ(take(stream, out, 1), 1u);
    EXPECT_EQ(take(stream, out, VEK_STREAM_ROOM) + 1, available);
  }
  EXPECT_GT(partial, 1u);
  VekStream_Finish(stream.get());
  EXPECT_EQ(VekStream_Available(stream.get()), frames + 1 - out.size());
  while (take(stream, out, 1000) > 0) {
  }
  ASSERT_EQ(out.size(), frames + 1);
  Samples longer = in;
  longer.insert(longer.end(), in.begin(), in.begin() + 2);
  EXPECT_EQ(out, by_hand(settings, longer, ahead).out);
}

TEST(StreamTime, AWriteTakesTheStatedNumberOfFramesWhereverABlockStands) {
  const Settings settings = line_of(1);
  const Samples in = noise(VEK_STREAM_ROOM, 1, 4);
  for (size_t begun = 0; begun < kBlock; begun++) {
    const Stream stream = open_stream(settings, 1);
    Samples out;
    // No lag is left, and nothing to be read.
    VekStream_WriteInterleaved(stream.get(), VEK_STREAM_S16, in.data(), kLag + kBlock + begun);
    take(stream, out, VEK_STREAM_ROOM);
    ASSERT_EQ(VekStream_WriteInterleaved(stream.get(), VEK_STREAM_S16, in.data(), VEK_STREAM_ROOM),
              size_t{VEK_STREAM_ROOM})
        << begun;
  }
}

TEST(StreamTime, ACallbackGetsAsManySamplesAsItGivesFrames) {
  for (const size_t longest : {1u, 100u, 128u, 480u, 5000u}) {
    SCOPED_TRACE(longest);
    const Settings settings = line_of(2, "adaptive");
    const size_t frames = 9000;
    const Samples in = noise(frames, 2, 5);
    Samples wanted(VEK_STREAM_DELAY);
    const Samples aligned = by_hand(settings, in, ahead).out;
    wanted.insert(wanted.end(), aligned.begin(), aligned.end());
    wanted.resize(frames);

    const Stream stream = open_stream(settings, 2);
    Samples out(frames, 12345);
    const Chunks chunks = random_chunks(6, longest);
    for (size_t done = 0; done < frames;) {
      const size_t chunk = std::min(chunks(), frames - done);
      VekStream_ProcessInterleaved(stream.get(), VEK_STREAM_S16, in.data() + 2 * done,
                                   out.data() + done, chunk);
      done += chunk;
    }
    EXPECT_EQ(out, wanted);
    EXPECT_EQ(counts_of(stream).frames, frames);
  }
}

// Speech, a pause of digital silence, speech; one microphone, so that the output is the input at
// 0.7948 of its level.
struct WithPause {
  static constexpr size_t kBegin = 10 * kBlock, kEnd = 30 * kBlock, kAll = 40 * kBlock;
  WithPause() : in(noise(kAll, 1, 7)) {
    std::fill(in.begin() + kBegin, in.begin() + kEnd, int16_t{0});
  }
  Samples in;
};

TEST(StreamTime, AKeptTimeKeepsEverySampleInItsPlace) {
  const WithPause pause;
  const Settings settings = line_of(1, "fixed", "yes");
  const Stream stream = open_stream(settings, 1);
  const Samples out =
      through(stream, pause.in, 1, ahead, random_chunks(8, 150), random_chunks(9, 150));
  ASSERT_EQ(out.size(), pause.in.size());
  EXPECT_EQ(counts_of(stream).zeroBlocks, 20u);
  EXPECT_EQ(out, by_hand(settings, pause.in, ahead).out);
  for (size_t t = 0; t < out.size(); t++) {
    ASSERT_NEAR(out[t], 0.7948 * pause.in[t], 4.0) << t;
  }
  // Silence comes out as silence once the last frame with sound in it has passed.
  for (size_t t = WithPause::kBegin + kLag; t < WithPause::kEnd - kLag; t++) ASSERT_EQ(out[t], 0);
}

TEST(StreamTime, OtherwiseThePauseHoldsBackWhatWasOnItsWay) {
  const WithPause pause;
  const Settings settings = line_of(1);
  const Stream stream = open_stream(settings, 1);
  const Samples out =
      through(stream, pause.in, 1, ahead, random_chunks(8, 150), random_chunks(9, 150));
  ASSERT_EQ(out.size(), pause.in.size());
  EXPECT_EQ(counts_of(stream).zeroBlocks, 20u);
  EXPECT_EQ(out, by_hand(settings, pause.in, ahead).out);
  // Three blocks before the pause the output falls silent, and goes on with them after it.
  const size_t held = WithPause::kBegin - kLag;
  const size_t shift = WithPause::kEnd - WithPause::kBegin;
  for (size_t t = held; t < held + shift; t++) ASSERT_EQ(out[t], 0) << t;
  for (size_t t = held; t < WithPause::kBegin; t++) {
    ASSERT_NEAR(out[t + shift], 0.7948 * pause.in[t], 4.0) << t;
  }
}

TEST(StreamTime, BlocksWhoseSquaresWrapToZeroCountAsZeroBlocks) {
  const Samples loud(5 * kBlock, -32768);
  for (const char* keepTime : {"no", "yes"}) {
    const Stream stream = open_stream(line_of(1, "fixed", keepTime), 1);
    const Samples out = through(
        stream, loud, 1, ahead, [] { return kBlock; }, [] { return kBlock; });
    EXPECT_EQ(counts_of(stream).zeroBlocks, 5u);
    EXPECT_EQ(out.size(), loud.size());
    // -32768 becomes -32767 once a block and is heard; without that, nothing is.
    const bool silent = std::all_of(out.begin(), out.end(), [](int16_t s) { return s == 0; });
    EXPECT_EQ(silent, std::string(keepTime) == "no");
  }
}

TEST(StreamTime, TheFirstAndTheLastSampleStandAtTheirPlaces) {
  const Stream stream = open_stream(line_of(1), 1);
  Samples in(300);
  in[0] = 10000;
  in[150] = 1;  // no block is dropped
  in[299] = 10000;
  const Samples out = through(stream, in, 1, ahead, random_chunks(1, 90), random_chunks(2, 90));
  ASSERT_EQ(out.size(), 300u);
  EXPECT_NEAR(out[0], 7948, 4);
  EXPECT_NEAR(out[299], 7948, 4);
}

TEST(StreamTime, AFinishedStreamTakesNoFrame) {
  const Stream stream = open_stream(line_of(1), 1);
  const Samples in = noise(10, 1, 1);
  EXPECT_EQ(VekStream_WriteInterleaved(stream.get(), VEK_STREAM_S16, in.data(), 10), 10u);
  EXPECT_EQ(VekStream_Available(stream.get()), 0u);
  VekStream_Finish(stream.get());
  EXPECT_EQ(VekStream_Available(stream.get()), 10u);
  EXPECT_EQ(VekStream_WriteInterleaved(stream.get(), VEK_STREAM_S16, in.data(), 10), 0u);
  int16_t out[20];
  EXPECT_EQ(VekStream_Read(stream.get(), VEK_STREAM_S16, out, 1, 20), 10u);
  EXPECT_EQ(VekStream_Read(stream.get(), VEK_STREAM_S16, out, 1, 20), 0u);
}

TEST(StreamTime, AStreamKeepsTheWayOfTimeThatItBeganWith) {
  const Settings settings = line_of(1);
  const Samples in = noise(kBlock, 1, 1);
  Samples out(kBlock, 9);
  const Stream lined = open_stream(settings, 1);
  EXPECT_EQ(VekStream_WriteInterleaved(lined.get(), VEK_STREAM_S16, in.data(), 3), 3u);
  VekStream_ProcessInterleaved(lined.get(), VEK_STREAM_S16, in.data(), out.data(), kBlock);
  EXPECT_EQ(out, Samples(kBlock));
  EXPECT_EQ(counts_of(lined).frames, 3u);

  const Stream delayed = open_stream(settings, 1);
  for (int i = 0; i < 10; i++) {
    VekStream_ProcessInterleaved(delayed.get(), VEK_STREAM_S16, in.data(), out.data(), kBlock);
  }
  EXPECT_EQ(VekStream_WriteInterleaved(delayed.get(), VEK_STREAM_S16, in.data(), 3), 0u);
  EXPECT_EQ(VekStream_Available(delayed.get()), 0u);
  EXPECT_EQ(VekStream_Read(delayed.get(), VEK_STREAM_S16, out.data(), 1, 3), 0u);
  VekStream_Finish(delayed.get());
  EXPECT_EQ(counts_of(delayed).frames, 10 * kBlock);
  VekStream_ProcessInterleaved(delayed.get(), VEK_STREAM_S16, in.data(), out.data(), kBlock);
  EXPECT_EQ(counts_of(delayed).frames, 11 * kBlock);
}

TEST(StreamTime, ARestartBeginsAfreshWithTheSteeredAngle) {
  const Settings settings = line_of(2, "adaptive");
  const Samples in = noise(5000, 2, 11);
  const auto at_30 = [](size_t) { return 30; };
  const Stream stream = open_stream(settings, 2);
  Samples out(100);
  VekStream_ProcessInterleaved(stream.get(), VEK_STREAM_S16, in.data(), out.data(), 100);
  VekStream_Steer(stream.get(), 30);
  EXPECT_EQ(said(VekStream_Restart(stream.get())), "");
  EXPECT_EQ(VekStream_GetAngle(stream.get()), 30);
  EXPECT_EQ(counts_of(stream).frames, 0u);
  EXPECT_EQ(through(
                stream, in, 2, at_30, [] { return size_t{100}; }, [] { return size_t{100}; }),
            by_hand(settings, in, at_30).out);
}

TEST(StreamTime, WrapsOfTheOutputAreCounted) {
  // A constant tone at full scale: 0.7948 of it stays in range, twice as much does not.
  const Settings settings = settings_of({{"array", "line:1:40mm"}, {"pre-gain", "0"}});
  for (const bool loud : {false, true}) {
    const Stream stream = open_stream(settings, 1);
    // A step from one end to the other overshoots behind the window and wraps.
    Samples in(4000);
    for (size_t i = 0; i < in.size(); i++) {
      const bool up = i / 50 % 2 == 0;
      in[i] = static_cast<int16_t>((up ? 1 : -1) * (loud ? 32767 : 10000));
    }
    const Samples out = through(
        stream, in, 1, ahead, [] { return kBlock; }, [] { return kBlock; });
    uint64_t wanted = 0;
    for (size_t i = 1; i < out.size(); i++) wanted += std::abs(out[i] - out[i - 1]) > 32768 ? 1 : 0;
    EXPECT_EQ(counts_of(stream).wraps, wanted);
    EXPECT_EQ(wanted > 0, loud);
  }
}

// A file that is removed at the end.
class TrackFile {
 public:
  explicit TrackFile(const std::string& text) : path_(own_path("track.txt")) {
    std::FILE* file = std::fopen(path_.c_str(), "wb");
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
  }
  ~TrackFile() { std::remove(path_.c_str()); }
  TrackFile(const TrackFile&) = delete;
  TrackFile& operator=(const TrackFile&) = delete;
  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

TEST(StreamTime, ATrackSteersByTheTimeOfABlocksFirstFrame) {
  // At 16000 Hz a block is 8 ms.
  const TrackFile file(
      "# a talker who walks\n0.016 20\n\n0.0161 40 # just missed by block 2\n1 -50\n");
  const Settings settings = settings_of({{"array", "line:2:40mm"},
                                         {"angle", "70"},
                                         {"angle-track", file.path()},
                                         {"keep-time", "no"}});
  const auto angles = [](size_t block) {
    return block < 2 ? 70 : block < 3 ? 20 : block < 125 ? 40 : -50;
  };
  const Samples in = noise(130 * kBlock, 2, 12);
  const Stream stream = open_stream(settings, 2);
  EXPECT_EQ(VekStream_GetAngle(stream.get()), 70);
  Samples out;
  for (size_t done = 0; done < 130 * kBlock;) {
    done += VekStream_WriteInterleaved(stream.get(), VEK_STREAM_S16, in.data() + 2 * done,
                                       130 * kBlock - done);
    take(stream, out, VEK_STREAM_ROOM);
  }
  VekStream_Finish(stream.get());
  take(stream, out, 130 * kBlock);
  EXPECT_EQ(out, by_hand(settings, in, angles).out);
  EXPECT_EQ(VekStream_GetAngle(stream.get()), -50);

  // By hand is by hand, from the next block on.
  EXPECT_EQ(said(VekStream_Restart(stream.get())), "");
  EXPECT_EQ(VekStream_GetAngle(stream.get()), 70);
  VekStream_WriteInterleaved(stream.get(), VEK_STREAM_S16, in.data(), 2 * kBlock + 1);
  EXPECT_EQ(VekStream_GetAngle(stream.get()), 20);
  VekStream_Steer(stream.get(), 5);
  VekStream_WriteInterleaved(stream.get(), VEK_STREAM_S16, in.data(), kBlock - 1);
  EXPECT_EQ(VekStream_GetAngle(stream.get()), 20);
  VekStream_WriteInterleaved(stream.get(), VEK_STREAM_S16, in.data(), 1);
  EXPECT_EQ(VekStream_GetAngle(stream.get()), 5);
}

TEST(StreamTime, NoStreamIsSilentAndTakesNothing) {
  int16_t out[3] = {1, 2, 3};
  VekStream_ProcessInterleaved(nullptr, VEK_STREAM_S16, out, out, 3);
  EXPECT_EQ(Samples(out, out + 3), Samples(3));
  double wide[2] = {1, 1};
  VekStream_Process(nullptr, VEK_STREAM_F64, nullptr, 1, wide, 1, 2);
  EXPECT_EQ(wide[1], 0.0);
  EXPECT_EQ(VekStream_WriteInterleaved(nullptr, VEK_STREAM_S16, out, 3), 0u);
  EXPECT_EQ(VekStream_Write(nullptr, VEK_STREAM_S16, nullptr, 1, 3), 0u);
  EXPECT_EQ(VekStream_Read(nullptr, VEK_STREAM_S16, out, 1, 3), 0u);
  EXPECT_EQ(VekStream_Available(nullptr), 0u);
  EXPECT_EQ(VekStream_FramesToBlock(nullptr), 0u);
  EXPECT_EQ(VekStream_GetAngle(nullptr), 0);
  EXPECT_NE(said(VekStream_Restart(nullptr)), "");
  VekStream_Steer(nullptr, 1);
  VekStream_Finish(nullptr);
  VekStream_Close(nullptr);
  VekStreamCounts counts{1, 1, 1, 1, 1, 1};
  VekStream_GetCounts(nullptr, &counts);
  EXPECT_EQ(counts.frames, 0u);
  VekStream_GetCounts(nullptr, nullptr);
}

}  // namespace
}  // namespace vekbf::test
