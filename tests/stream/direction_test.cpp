// SPDX-License-Identifier: MIT
//
// A stream that finds the talker itself, against a twin that calls the beamformer and the direction
// finder by hand: the same angles, the same samples; and what any thread may ask meanwhile.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>

#include "direction/plane_wave.h"
#include "stream/streams.h"

namespace vekbf::test {
namespace {

constexpr uint32_t kRate = 16000;
constexpr size_t kMics = 4;
constexpr int32_t kFirst = 215;
constexpr int32_t kSecond = 40;

VekBfInit array_of(const Settings& settings) {
  VekBfInit array{};
  EXPECT_EQ(said(VekStream_GetArray(settings.get(), kRate, &array)), "");
  return array;
}

// One talker, digital silence, another talker.
const Samples& recording() {
  static const Samples samples = [] {
    const VekBfInit array = array_of(settings_of({{"array", "square:64mm"}}));
    const auto talker = [&](int32_t degrees, uint64_t seed) {
      return heard_by(
          array, {{static_cast<double>(degrees), voice_samples(seed, 2 * kRate, kRate / 2, 6000)}},
          15, seed);
    };
    Samples all = talker(kFirst, 3);
    all.resize(all.size() + kMics * 5001);
    const Samples second = talker(kSecond, 4);
    all.insert(all.end(), second.begin(), second.end());
    return all;
  }();
  return samples;
}

struct Twin {
  std::vector<int32_t> angles;  // of each block of the signal
  std::vector<VekDirState> states;
};

// What the finder says of the blocks that the stream makes of a signal.
Twin twin_of(const Settings& settings, const Samples& in, int32_t first) {
  const VekBfInit array = array_of(settings);
  VekDirConfig config{};
  VekStream_GetDirectionConfig(settings.get(), &config);
  const bool keepTime = VekStream_GetNumber(settings.get(), "keep-time") == 1;
  std::vector<uint64_t> buffer(VekDir_GetBufferSize() / sizeof(uint64_t));
  const VekDirHandle finder = VekDir_Init(buffer.data(), &array);
  EXPECT_EQ(VekDir_SetConfig(finder, &config), VEK_DIR_OK);
  Twin twin;
  int32_t angle = first;
  for (size_t begin = 0; begin < in.size(); begin += kBlock * kMics) {
    Samples block(kBlock * kMics);
    std::copy(in.begin() + static_cast<std::ptrdiff_t>(begin),
              in.begin() + static_cast<std::ptrdiff_t>(std::min(in.size(), begin + block.size())),
              block.begin());
    const bool silent =
        std::all_of(block.begin(), block.begin() + kBlock, [](int16_t x) { return x == 0; });
    if (silent && keepTime) block[0] = 1;
    VekDirState state{};
    EXPECT_EQ(VekDir_Run(finder, block.data(), &state), VEK_DIR_OK);
    twin.angles.push_back(angle);
    twin.states.push_back(state);
    if (state.angle >= 0) angle = state.angle;
  }
  return twin;
}

bool same(const VekDirState& a, const VekDirState& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

VekDirState direction_of(const Stream& stream) {
  VekDirState state{};
  EXPECT_EQ(VekStream_GetDirection(stream.get(), &state), 1);
  return state;
}

Samples read_all(const Stream& stream) {
  Samples out(VekStream_Available(stream.get()));
  out.resize(VekStream_Read(stream.get(), VEK_STREAM_S16, out.data(), 1, out.size()));
  return out;
}

void append(Samples& out, const Samples& more) { out.insert(out.end(), more.begin(), more.end()); }

TEST(StreamDirection, FoundAngleSteersTheNextBlock) {
  for (const char* keepTime : {"yes", "no"}) {
    const Settings settings = settings_of({{"array", "square:64mm"},
                                           {"angle", "auto"},
                                           {"angle-start", "17"},
                                           {"keep-time", keepTime}});
    const Twin twin = twin_of(settings, recording(), 17);
    const ByHand expected = by_hand(settings, recording(), [&](size_t block) {
      return twin.angles[std::min(block, twin.angles.size() - 1)];
    });
    const Stream stream = open_stream(settings, kMics);
    EXPECT_EQ(VekStream_GetAngle(stream.get()), 17);
    std::mt19937 random(1);
    Samples out;
    const size_t frames = recording().size() / kMics;
    for (size_t done = 0; done < frames;) {
      const size_t chunk =
          std::min({frames - done, size_t{random() % 300}, VekStream_FramesToBlock(stream.get())});
      done += VekStream_WriteInterleaved(stream.get(), VEK_STREAM_S16, &recording()[done * kMics],
                                         chunk);
      append(out, read_all(stream));
      if (done == 0 || chunk == 0) continue;
      ASSERT_EQ(VekStream_GetAngle(stream.get()), twin.angles[(done - 1) / kBlock]);
      if (done % kBlock == 0) {
        ASSERT_TRUE(same(direction_of(stream), twin.states[done / kBlock - 1])) << done;
      }
    }
    VekStream_Finish(stream.get());
    append(out, read_all(stream));
    EXPECT_EQ(out, expected.out) << keepTime;
    EXPECT_EQ(counts_of(stream).zeroBlocks, expected.zeroBlocks);
    // Both talkers were found.
    EXPECT_LE(degrees_between(twin.angles[2 * kRate / kBlock], kFirst), 3);
    EXPECT_LE(degrees_between(VekStream_GetAngle(stream.get()), kSecond), 3);
  }
}

TEST(StreamDirection, ConstantDelayGivesTheSameSamples) {
  const Settings settings = settings_of({{"array", "square:64mm"}, {"angle", "auto"}});
  const Stream lined = open_stream(settings, kMics);
  const Stream delayed = open_stream(settings, kMics);
  const size_t frames = recording().size() / kMics;
  Samples out;
  Samples late(frames);
  for (size_t done = 0; done < frames;) {
    done += VekStream_WriteInterleaved(lined.get(), VEK_STREAM_S16, &recording()[done * kMics],
                                       frames - done);
    append(out, read_all(lined));
  }
  for (size_t done = 0; done < frames; done += 77) {
    VekStream_ProcessInterleaved(delayed.get(), VEK_STREAM_S16, &recording()[done * kMics],
                                 &late[done], std::min<size_t>(77, frames - done));
  }
  ASSERT_GT(out.size(), frames - VEK_STREAM_DELAY - 1);
  EXPECT_TRUE(std::equal(late.begin() + VEK_STREAM_DELAY, late.end(), out.begin()));
  EXPECT_TRUE(same(direction_of(lined), direction_of(delayed)));
}

// A restart forgets the talker, and the same sound gives the same again.
TEST(StreamDirection, RestartBeginsAnew) {
  const Settings settings = settings_of({{"array", "square:64mm"}, {"angle", "auto"}});
  const Stream stream = open_stream(settings, kMics);
  const size_t frames = 2 * kRate;
  Samples first(frames), second(frames);
  VekStream_ProcessInterleaved(stream.get(), VEK_STREAM_S16, recording().data(), first.data(),
                               frames);
  const VekDirState heard = direction_of(stream);
  EXPECT_GE(heard.angle, 0);
  EXPECT_EQ(said(VekStream_Restart(stream.get())), "");
  EXPECT_EQ(direction_of(stream).angle, -1);
  EXPECT_EQ(VekStream_GetAngle(stream.get()), 90);
  VekStream_ProcessInterleaved(stream.get(), VEK_STREAM_S16, recording().data(), second.data(),
                               frames);
  EXPECT_EQ(first, second);
  EXPECT_TRUE(same(direction_of(stream), heard));
}

TEST(StreamDirection, AHandOnTheWheelWinsAndLetsGo) {
  const Settings settings = settings_of({{"array", "square:64mm"}, {"angle", "auto"}});
  const Stream stream = open_stream(settings, kMics);
  const auto play = [&](size_t blocks) {
    Samples out(blocks * kBlock);
    VekStream_ProcessInterleaved(stream.get(), VEK_STREAM_S16, recording().data(), out.data(),
                                 out.size());
  };
  VekStream_Steer(stream.get(), 123);
  play(200);
  EXPECT_EQ(VekStream_GetAngle(stream.get()), 123);
  const int32_t found = direction_of(stream).angle;
  EXPECT_LE(degrees_between(found, kFirst), 3) << "it goes on listening";
  VekStream_SteerAsSet(stream.get());
  EXPECT_EQ(VekStream_GetAngle(stream.get()), 123) << "from the next block on";
  play(1);
  EXPECT_EQ(VekStream_GetAngle(stream.get()), found);
  // Without a finder it is the setting that steers again.
  const Stream plain = open_stream(settings_of({{"array", "square:64mm"}, {"angle", "31"}}), kMics);
  VekStream_Steer(plain.get(), 5);
  VekStream_SteerAsSet(plain.get());
  int16_t out[kBlock];
  VekStream_ProcessInterleaved(plain.get(), VEK_STREAM_S16, recording().data(), out, kBlock);
  EXPECT_EQ(VekStream_GetAngle(plain.get()), 31);
}

TEST(StreamDirection, PauseKeepsTheAngle) {
  const Settings settings = settings_of({{"array", "square:64mm"}, {"angle", "auto"}});
  const Stream stream = open_stream(settings, kMics);
  VekStream_PauseDirection(stream.get(), 1);
  Samples out(2 * kRate);
  VekStream_ProcessInterleaved(stream.get(), VEK_STREAM_S16, recording().data(), out.data(),
                               out.size());
  EXPECT_EQ(direction_of(stream).angle, -1);
  VekStream_PauseDirection(stream.get(), 0);
  VekStream_ProcessInterleaved(stream.get(), VEK_STREAM_S16, recording().data(), out.data(),
                               out.size());
  EXPECT_LE(degrees_between(direction_of(stream).angle, kFirst), 3);
  float map[VEK_DIR_MAP_DEGREES] = {};
  EXPECT_EQ(VekStream_GetMap(stream.get(), map), 1);
  EXPECT_EQ(VekStream_GetMap(stream.get(), nullptr), 0);
  EXPECT_GT(*std::max_element(map, map + VEK_DIR_MAP_DEGREES), 0.0f);
}

TEST(StreamDirection, AStreamWithAnAngleLooksForNone) {
  const Stream stream = open_stream(settings_of({{"array", "square:64mm"}}), kMics);
  VekDirState state = {5, 5, 5.0f, 5};
  float map[VEK_DIR_MAP_DEGREES] = {7};
  EXPECT_EQ(VekStream_GetDirection(stream.get(), &state), 0);
  EXPECT_EQ(state.angle, -1);
  EXPECT_EQ(state.age, 0u);
  EXPECT_EQ(VekStream_GetMap(stream.get(), map), 0);
  EXPECT_EQ(map[0], 7.0f);
  VekStream_PauseDirection(stream.get(), 1);
  EXPECT_EQ(VekStream_GetDirection(nullptr, &state), 0);
  EXPECT_EQ(VekStream_GetDirection(nullptr, nullptr), 0);
  EXPECT_EQ(VekStream_GetMap(nullptr, map), 0);
  VekStream_PauseDirection(nullptr, 1);
  VekStream_SteerAsSet(nullptr);
}

// Each state that another thread sees is one of those that there were, as a whole, in their order.
TEST(StreamDirection, AnyThreadSeesWholeStates) {
#ifdef __EMSCRIPTEN__
  GTEST_SKIP() << "a module has no threads";
#endif
  const Settings settings = settings_of({{"array", "square:64mm"}, {"angle", "auto"}});
  const Twin twin = twin_of(settings, recording(), 90);
  const Stream stream = open_stream(settings, kMics);
  std::atomic<bool> done{false};
  std::vector<VekDirState> seen;
  std::thread reader([&] {
    VekDirState last{};
    while (!done) {
      const VekDirState state = direction_of(stream);
      if (!same(state, last)) seen.push_back(state);
      last = state;
    }
  });
  Samples out(recording().size() / kMics);
  for (size_t frame = 0; frame < out.size(); frame += kBlock) {
    VekStream_ProcessInterleaved(stream.get(), VEK_STREAM_S16, &recording()[frame * kMics],
                                 &out[frame], std::min(kBlock, out.size() - frame));
    if (frame % (8 * kBlock) == 0) std::this_thread::yield();
  }
  done = true;
  reader.join();
  size_t place = 0;
  for (const VekDirState& state : seen) {
    if (state.angle == -1 && state.age == 0) continue;  // before the first block
    while (place < twin.states.size() && !same(twin.states[place], state)) place++;
    ASSERT_LT(place, twin.states.size()) << "a state that there never was, or too early";
  }
}

std::string opened(const Settings& settings, int32_t channels) {
  VekStream* stream = nullptr;
  const std::string fault = said(VekStream_Open(settings.get(), kRate, channels, &stream));
  VekStream_Close(stream);
  return fault;
}

TEST(StreamDirection, WhatHasNoDirectionIsRefused) {
  EXPECT_EQ(
      opened(settings_of({{"array", "line:1:10mm"}, {"angle", "auto"}}), 1),
      "angle is a whole number of degrees, such as 60, not 'auto': the direction finder takes "
      "2 to 4 microphones");
  EXPECT_EQ(
      opened(settings_of({{"mics", "0,0;0.1,0;0.1,0.1;0,0.1"},
                          {"geometry", "rectangle"},
                          {"force", "yes"},
                          {"angle", "auto"}}),
             4),
      "angle is a whole number of degrees, such as 60, not 'auto': the direction finder takes "
      "a line or the corners of a square");
  EXPECT_EQ(
      opened(settings_of({{"array", "line:2:50m"}, {"angle", "auto"}}), 2),
      "angle is a whole number of degrees, such as 60, not 'auto': the direction finder tells "
      "no directions apart with these positions and this speed of sound");
  EXPECT_EQ(opened(settings_of({{"array", "line:2:50m"}, {"angle", "60"}}), 2), "");
  const std::string path = own_path("track");
  std::FILE* file = std::fopen(path.c_str(), "w");
  std::fputs("0 10\n", file);
  std::fclose(file);
  EXPECT_EQ(
      opened(
          settings_of({{"array", "square:64mm"}, {"angle-track", path.c_str()}, {"angle", "auto"}}),
          4),
      "angle is a whole number of degrees where angle-track '" + path +
          "' gives the angles, or angle-track is left out, not 'auto'");
  std::remove(path.c_str());
}

TEST(StreamDirection, SettingsReachTheFinder) {
  const Settings settings = settings_of({{"array", "square:64mm"}, {"angle", "auto"}});
  VekDirConfig config{};
  const auto set = [&](const char* key, const char* value) {
    const std::string fault = said(VekStream_Set(settings.get(), key, value));
    VekStream_GetDirectionConfig(settings.get(), &config);
    return fault;
  };
  EXPECT_EQ(set("hold", "0.5"), "");
  EXPECT_EQ(config.holdMs, 500u);
  EXPECT_EQ(set("hold", "0"), "");
  EXPECT_EQ(config.holdMs, 1u) << "0 would be the default";
  EXPECT_EQ(set("focus", "96"), "");
  EXPECT_EQ(config.focusDb, 96u);
  EXPECT_EQ(set("sector", " 300 , -20 "), "");
  EXPECT_EQ(config.sectorFrom, 300);
  EXPECT_EQ(config.sectorTo, -20);
  EXPECT_EQ(set("hold", "10.1"), "hold is a number of seconds from 0 to 10, not '10.1'");
  EXPECT_EQ(set("focus", "0"), "focus is a whole number of decibels from 1 to 96, not '0'");
  for (const char* wrong : {"", "30", "30,", ",30", "30;60", "30,60,90", "361,5", "a,b", "1.5,2"}) {
    EXPECT_EQ(
        set("sector", wrong),
        std::string(
            "sector is two whole numbers of degrees from -360 to 360, such as 30,150, not '") +
            wrong + "'");
  }
  EXPECT_EQ(set("angle-start", "north"),
            "angle-start is a whole number of degrees, such as 60, not 'north'");
  EXPECT_TRUE(std::isnan(VekStream_GetNumber(settings.get(), "angle")));
  EXPECT_TRUE(std::isnan(VekStream_GetNumber(settings.get(), "angle-start")));
  EXPECT_EQ(VekStream_GetNumber(settings.get(), "focus"), 96);
  EXPECT_EQ(config.sectorFrom, 300) << "what is refused changes nothing";
  VekStream_GetDirectionConfig(nullptr, &config);
  VekStream_GetDirectionConfig(settings.get(), nullptr);
}

// Until something was heard: what is said, else the middle of the sector, else straight ahead.
TEST(StreamDirection, FirstAngle) {
  const auto first = [](const Pairs& pairs) {
    return VekStream_GetAngle(open_stream(settings_of(pairs), kMics).get());
  };
  EXPECT_EQ(first({{"array", "square:64mm"}, {"angle", "auto"}}), 90);
  EXPECT_EQ(first({{"array", "square:64mm"}, {"angle", "auto"}, {"sector", "30,110"}}), 70);
  EXPECT_EQ(first({{"array", "square:64mm"}, {"angle", "auto"}, {"sector", "350,20"}}), 5);
  EXPECT_EQ(first({{"array", "square:64mm"}, {"angle", "auto"}, {"sector", "-20,10"}}), 355);
  EXPECT_EQ(first({{"array", "square:64mm"}, {"angle", "auto"}, {"sector", "0,360"}}), 90);
  EXPECT_EQ(first({{"array", "square:64mm"},
                   {"angle", "auto"},
                   {"sector", "30,110"},
                   {"angle-start", "200"}}),
            200);
  // A number set later takes the place of auto.
  EXPECT_EQ(
      first({{"array", "square:64mm"}, {"angle", "auto"}, {"angle", "33"}, {"sector", "1,9"}}), 33);
}

}  // namespace
}  // namespace vekbf::test
