// SPDX-License-Identifier: MIT
//
// The GStreamer element in a harness, without a clock: samples, timestamps, latency, events,
// faults.
#include <gst/check/gstharness.h>
#include <gst/controller/gstdirectcontrolbinding.h>
#include <gst/controller/gstinterpolationcontrolsource.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "stream/by_hand.h"
#include "support/random.h"

namespace vekbf::test {
namespace {

constexpr int kMics = 4;
constexpr int kRate = 16000;
constexpr size_t kDelay = 511;
constexpr size_t kFrames = 20000;
constexpr const char* kElement = "vekbf array=line:4:80mm angle=60";

Samples noise(size_t frames) {
  Random random(1);
  Samples samples(frames * kMics);
  for (int16_t& sample : samples) sample = static_cast<int16_t>(random.below(16000) - 8000);
  return samples;
}

Samples part(const Samples& samples, size_t from, size_t frames) {
  const auto begin = samples.begin() + static_cast<ptrdiff_t>(from * kMics);
  return Samples(begin, begin + static_cast<ptrdiff_t>(frames * kMics));
}

Samples expected(
    const Samples& in, uint32_t rate = kRate,
    const BlockAngles& angles = [](size_t) { return 60; }) {
  VekBfInit array{};
  array.sampleRate = rate;
  array.bitWidth = 16;
  array.micNum = kMics;
  array.soundSpeed = 343;
  for (int m = 0; m < kMics; ++m) array.micCoordinate[m][0] = static_cast<float>(0.08 * m);
  return by_hand(array, {0.5f, 3}, true, in, angles).out;
}

GstClockTime time_of(size_t frame, int rate = kRate) {
  return gst_util_uint64_scale_int(frame, GST_SECOND, rate);
}

// A format of caps, and samples as its bytes.
struct Format {
  const char* name;
  bool is_float;
  bool swapped;
  size_t bytes() const { return is_float ? 4 : 2; }
};
constexpr bool kBig = std::endian::native == std::endian::big;
constexpr Format kFormats[] = {
    {"S16LE", false, kBig}, {"S16BE", false, !kBig}, {"F32LE", true, kBig}, {"F32BE", true, !kBig}};

std::vector<uint8_t> to_bytes(const Samples& samples, Format format) {
  std::vector<uint8_t> bytes(samples.size() * format.bytes());
  for (size_t i = 0; i < samples.size(); ++i) {
    const float value = static_cast<float>(samples[i]) / 32768.0f;
    uint8_t* const to = &bytes[i * format.bytes()];
    if (format.is_float) {
      std::memcpy(to, &value, sizeof value);
    } else {
      std::memcpy(to, &samples[i], sizeof samples[i]);
    }
    if (format.swapped) std::reverse(to, to + format.bytes());
  }
  return bytes;
}

class Harness {
 public:
  explicit Harness(Format format = kFormats[kBig ? 1 : 0], const char* line = kElement)
      : format_(format), harness_(gst_harness_new_parse(line)) {
    set_rate(kRate);
  }
  ~Harness() { gst_harness_teardown(harness_); }
  Harness(const Harness&) = delete;
  Harness& operator=(const Harness&) = delete;

  GstHarness* get() { return harness_; }
  void set_rate(int rate) {
    rate_ = rate;
    const std::string caps = std::string("audio/x-raw,layout=interleaved,channels=4,format=") +
                             format_.name +
                             ",channel-mask=(bitmask)0x0,rate=" + std::to_string(rate);
    gst_harness_set_src_caps_str(harness_, caps.c_str());
  }
  // With the timestamp of the frame `at`.
  void push(const Samples& samples, size_t at) {
    const std::vector<uint8_t> bytes = to_bytes(samples, format_);
    GstBuffer* const buffer = gst_buffer_new_allocate(nullptr, bytes.size(), nullptr);
    gst_buffer_fill(buffer, 0, bytes.data(), bytes.size());
    GST_BUFFER_PTS(buffer) = time_of(at, rate_);
    ASSERT_EQ(gst_harness_push(harness_, buffer), GST_FLOW_OK);
    collect();
  }
  void push_in_chunks(const Samples& samples, size_t chunk) {
    const size_t frames = samples.size() / kMics;
    for (size_t at = 0; at < frames; at += chunk) {
      push(part(samples, at, std::min(chunk, frames - at)), at);
      held = std::max(held, std::min(at + chunk, frames) - out.size() / format_.bytes());
    }
  }
  void event(GstEvent* event) {
    ASSERT_TRUE(gst_harness_push_event(harness_, event));
    collect();
  }
  void end() { event(gst_event_new_eos()); }
  // What came out, beginning with sample `from`.
  void expect(const Samples& samples, size_t from = 0) const {
    ASSERT_EQ(out.size() / format_.bytes(), from + samples.size());
    const std::vector<uint8_t> bytes = to_bytes(samples, format_);
    ASSERT_TRUE(std::equal(bytes.begin(), bytes.end(),
                           out.begin() + static_cast<ptrdiff_t>(from * format_.bytes())));
  }

  std::vector<uint8_t> out;
  std::vector<GstClockTime> jumps;  // timestamps that do not continue the buffer before
  size_t disconts = 0;
  size_t held = 0;  // frames held back at most

 private:
  void collect() {
    while (GstBuffer* const buffer = gst_harness_try_pull(harness_)) {
      GstMapInfo map;
      gst_buffer_map(buffer, &map, GST_MAP_READ);
      out.insert(out.end(), map.data, map.data + map.size);
      gst_buffer_unmap(buffer, &map);
      if (GST_BUFFER_PTS(buffer) != next_) jumps.push_back(GST_BUFFER_PTS(buffer));
      next_ = GST_BUFFER_PTS(buffer) + GST_BUFFER_DURATION(buffer);
      if (GST_BUFFER_IS_DISCONT(buffer)) ++disconts;
      gst_buffer_unref(buffer);
    }
  }
  Format format_;
  GstHarness* harness_;
  int rate_ = kRate;
  GstClockTime next_ = 0;
};

TEST(GStreamer, GivesTheSameSamplesForAnyChunksOnTheirTimestamps) {
  const Samples in = noise(kFrames);
  const Samples beam = expected(in);
  for (const size_t chunk : {1u, 7u, 64u, 127u, 128u, 129u, 441u, 1024u, 16001u}) {
    SCOPED_TRACE(chunk);
    Harness harness;
    harness.push_in_chunks(in, chunk);
    harness.end();
    harness.expect(beam);
    EXPECT_TRUE(harness.jumps.empty());
    EXPECT_EQ(harness.disconts, 1u);
    EXPECT_LE(harness.held, kDelay);
  }
}

TEST(GStreamer, TakesEveryFormat) {
  const Samples in = noise(3000);
  for (const Format& format : kFormats) {
    SCOPED_TRACE(format.name);
    Harness harness(format);
    harness.push_in_chunks(in, 441);
    harness.end();
    harness.expect(expected(in));
  }
}

TEST(GStreamer, ReportsWhatItHoldsBackAsLatency) {
  constexpr GstClockTime kUpstream = 10 * GST_MSECOND;
  Harness harness;
  gst_harness_set_upstream_latency(harness.get(), kUpstream);
  harness.push(noise(1024), 0);
  EXPECT_EQ(gst_harness_query_latency(harness.get()),
            kUpstream + gst_util_uint64_scale_int_ceil(kDelay, GST_SECOND, kRate));
}

TEST(GStreamer, SteersBlockByBlockByAControlSource) {
  const Samples in = noise(kFrames);
  Harness harness;
  GstElement* const element = gst_harness_find_element(harness.get(), "vekbf");
  GstControlSource* const source = gst_interpolation_control_source_new();
  g_object_set(source, "mode", GST_INTERPOLATION_MODE_NONE, nullptr);
  constexpr GstClockTime kTurn = GST_SECOND / 2;
  GstTimedValueControlSource* const values = GST_TIMED_VALUE_CONTROL_SOURCE(source);
  gst_timed_value_control_source_set(values, 0, 60);
  gst_timed_value_control_source_set(values, kTurn, 120);
  gst_object_add_control_binding(GST_OBJECT(element), gst_direct_control_binding_new_absolute(
                                                          GST_OBJECT(element), "angle", source));
  harness.push_in_chunks(in, 1000);
  harness.end();
  harness.expect(expected(
      in, kRate, [&](size_t block) { return time_of(block * kBlock) < kTurn ? 60 : 120; }));
  gst_object_unref(source);
  gst_object_unref(element);
}

TEST(GStreamer, BeginsAnewBehindAHole) {
  const Samples in = noise(kFrames);
  Harness harness;
  harness.push(part(in, 0, 4000), 0);
  harness.push(part(in, 9000, 4000), 9000);
  harness.end();
  Samples both = expected(part(in, 0, 4000));
  const Samples second = expected(part(in, 9000, 4000));
  both.insert(both.end(), second.begin(), second.end());
  harness.expect(both);
  EXPECT_EQ(harness.jumps, std::vector<GstClockTime>{time_of(9000)});
  EXPECT_EQ(harness.disconts, 2u);
}

TEST(GStreamer, FillsAShortGapWithSilence) {
  Samples in = noise(12000);
  Harness harness;
  harness.push(part(in, 0, 4000), 0);
  harness.event(gst_event_new_gap(time_of(4000), time_of(4000)));
  harness.push(part(in, 8000, 4000), 8000);
  harness.end();
  std::fill(in.begin() + 4000 * kMics, in.begin() + 8000 * kMics, int16_t{0});
  harness.expect(expected(in));
  EXPECT_TRUE(harness.jumps.empty());
}

TEST(GStreamer, ForgetsWhatCameBeforeAFlush) {
  const Samples in = noise(kFrames);
  Harness harness;
  harness.push(part(in, 7000, 5000), 0);
  harness.event(gst_event_new_flush_start());
  harness.event(gst_event_new_flush_stop(TRUE));
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  harness.event(gst_event_new_segment(&segment));
  harness.out.clear();
  harness.push_in_chunks(in, 1000);
  harness.end();
  harness.expect(expected(in));
}

TEST(GStreamer, DrainsAndBeginsAnewAtNewCaps) {
  const Samples in = noise(8000);
  Harness harness;
  harness.push(part(in, 0, 4000), 0);
  harness.set_rate(48000);
  harness.push(part(in, 4000, 4000), 4000);
  harness.end();
  Samples both = expected(part(in, 0, 4000));
  const Samples second = expected(part(in, 4000, 4000), 48000);
  both.insert(both.end(), second.begin(), second.end());
  harness.expect(both);
}

// Bursts of noise, the same at every microphone: a talker at 90 degrees of the line.
TEST(GStreamer, FollowsTheTalker) {
  Random random(3);
  Samples in;
  for (int i = 0; i < 4 * kRate; ++i) {
    const bool speaks = i > kRate && i / 4000 % 2 == 0;
    const int talker = speaks ? random.below(8000) - 4000 : 0;
    for (int m = 0; m < kMics; ++m) {
      in.push_back(static_cast<int16_t>(talker + random.below(40) - 20));
    }
  }
  Harness harness(kFormats[kBig ? 1 : 0], "vekbf array=line:4:80mm follow=true sector=30,150");
  GstElement* const element = gst_harness_find_element(harness.get(), "vekbf");
  gint direction = 0;
  g_object_get(element, "direction", &direction, nullptr);
  EXPECT_EQ(direction, -1);
  harness.push_in_chunks(in, 1000);
  gfloat confidence = 0;
  g_object_get(element, "direction", &direction, "confidence", &confidence, nullptr);
  EXPECT_NEAR(direction, 90, 2);
  EXPECT_GT(confidence, 0.5f);
  gst_object_unref(element);
}

TEST(GStreamer, CountsWhatItMet) {
  Samples in = noise(1280);
  std::fill(in.begin() + 256 * kMics, in.begin() + 512 * kMics, int16_t{0});
  Harness harness;
  harness.push(in, 0);
  harness.end();
  GstElement* const element = gst_harness_find_element(harness.get(), "vekbf");
  guint64 zero_blocks = 0;
  g_object_get(element, "zero-blocks", &zero_blocks, nullptr);
  EXPECT_EQ(zero_blocks, 2u);
  gst_object_unref(element);
}

// Starting fails, and the bus has a message with all `words`.
void expect_fault(const char* line, const std::vector<std::string>& words) {
  SCOPED_TRACE(line);
  GstElement* const pipeline = gst_parse_launch(line, nullptr);
  ASSERT_NE(pipeline, nullptr);
  gst_element_set_state(pipeline, GST_STATE_PLAYING);
  GstBus* const bus = gst_element_get_bus(pipeline);
  GstMessage* const message = gst_bus_timed_pop_filtered(bus, 10 * GST_SECOND, GST_MESSAGE_ERROR);
  ASSERT_NE(message, nullptr);
  GError* error = nullptr;
  gst_message_parse_error(message, &error, nullptr);
  const std::string text = error->message;
  for (const std::string& word : words) EXPECT_NE(text.find(word), std::string::npos) << text;
  EXPECT_EQ(text.find('\n'), std::string::npos) << text;
  g_error_free(error);
  gst_message_unref(message);
  gst_object_unref(bus);
  gst_element_set_state(pipeline, GST_STATE_NULL);
  gst_object_unref(pipeline);
}

TEST(GStreamer, RefusesWhatIsWrongInOneLine) {
  const std::string source =
      "audiotestsrc num-buffers=5 ! audio/x-raw,format=S16LE,rate=16000,channels=2 ! ";
  expect_fault((source + "vekbf array=line:5:80mm ! fakesink").c_str(), {"array", "line:5:80mm"});
  expect_fault((source + "vekbf ! fakesink").c_str(), {"array"});
  expect_fault((source + "vekbf config=/nowhere.conf ! fakesink").c_str(), {"/nowhere.conf"});
  expect_fault((source + "vekbf mics=0,0;north ! fakesink").c_str(), {"mics", "north"});
  expect_fault((source + "vekbf array=square:64mm geometry=linear ! fakesink").c_str(),
               {"geometry"});
}

}  // namespace
}  // namespace vekbf::test

int main(int argc, char** argv) {
  gst_init(&argc, &argv);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
