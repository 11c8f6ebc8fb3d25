// SPDX-License-Identifier: MIT
//
// Sample formats, strides, picked channels.
#include <cfenv>
#include <cmath>
#include <cstring>
#include <limits>

#include "stream/streams.h"
#include "support/host_float_mode.h"

namespace vekbf::test {
namespace {

constexpr size_t kFrames = 1500;

int32_t ahead(size_t) { return 90; }

// The stated rule, by the C library: nearest, ties to even, clipped, not-a-number 0.
int16_t stated(double value, double gain = 1.0) {
  const double rounded = std::nearbyint(value * 32768.0 * gain);
  if (std::isnan(rounded)) return 0;
  return static_cast<int16_t>(std::fmin(std::fmax(rounded, -32768.0), 32767.0));
}

// Values between and around the 16-bit ones, at the ends of the range and beyond.
template <class Sample>
std::vector<Sample> values_of(size_t count, unsigned seed) {
  std::mt19937 random(seed);
  const Sample infinity = std::numeric_limits<Sample>::infinity();
  const Sample special[] = {0,
                            Sample(-0.0),
                            1,
                            -1,
                            2,
                            -2,
                            infinity,
                            -infinity,
                            std::numeric_limits<Sample>::quiet_NaN(),
                            std::numeric_limits<Sample>::denorm_min(),
                            std::numeric_limits<Sample>::max(),
                            std::numeric_limits<Sample>::lowest(),
                            Sample(32767.49 / 32768),
                            Sample(32767.5 / 32768),
                            Sample(-32768.5 / 32768),
                            Sample(-32768.6 / 32768)};
  std::vector<Sample> values(count);
  for (Sample& value : values) {
    const double whole = static_cast<double>(random() % 8001) - 4000;
    switch (random() % 8) {
      case 0:
        value = static_cast<Sample>((whole + 0.5) / 32768);  // a tie
        break;
      case 1:
        value = special[random() % std::size(special)];
        break;
      default:
        value = static_cast<Sample>((whole + static_cast<double>(random() % 1000) / 1000) / 32768);
    }
  }
  return values;
}

// What an interleaved stream of S16 samples gives.
Samples of_16_bits(const Settings& settings, const Samples& in, int32_t channels) {
  const Stream stream = open_stream(settings, channels);
  const size_t frames = in.size() / static_cast<size_t>(channels);
  Samples out(frames);
  EXPECT_EQ(VekStream_WriteInterleaved(stream.get(), VEK_STREAM_S16, in.data(), frames), frames);
  VekStream_Finish(stream.get());
  EXPECT_EQ(VekStream_Read(stream.get(), VEK_STREAM_S16, out.data(), 1, frames), frames);
  return out;
}

template <class Sample>
constexpr int32_t kFormatOf = std::is_same_v<Sample, float> ? VEK_STREAM_F32 : VEK_STREAM_F64;

template <class Sample>
class FloatFormats : public testing::Test {};
using FloatTypes = testing::Types<float, double>;
TYPED_TEST_SUITE(FloatFormats, FloatTypes);

TYPED_TEST(FloatFormats, AreRoundedByTheStatedRuleAndCounted) {
  for (const char* decibels : {"0", "-7", "3.5", "60", "-60"}) {
    SCOPED_TRACE(decibels);
    const double gain = std::pow(10.0, std::atof(decibels) / 20.0);
    const std::vector<TypeParam> in = values_of<TypeParam>(2 * kFrames, 1);
    Samples rounded;
    uint64_t clipped = 0;
    uint64_t notNumbers = 0;
    for (const TypeParam value : in) {
      rounded.push_back(stated(value, gain));
      const double exact = std::nearbyint(static_cast<double>(value) * 32768.0 * gain);
      notNumbers += std::isnan(exact) ? 1 : 0;
      clipped += exact > 32767 || exact < -32768 ? 1 : 0;
    }
    const Settings plain = settings_of({{"array", "line:2:40mm"}});
    const Samples expected = of_16_bits(plain, rounded, 2);

    const Settings settings = settings_of({{"array", "line:2:40mm"}, {"pre-gain", decibels}});
    const Stream stream = open_stream(settings, 2);
    EXPECT_EQ(VekStream_WriteInterleaved(stream.get(), kFormatOf<TypeParam>, in.data(), kFrames),
              kFrames);
    VekStream_Finish(stream.get());
    std::vector<TypeParam> out(kFrames);
    EXPECT_EQ(VekStream_Read(stream.get(), kFormatOf<TypeParam>, out.data(), 1, kFrames), kFrames);
    for (size_t i = 0; i < kFrames; i++) {
      ASSERT_EQ(out[i], static_cast<TypeParam>(expected[i]) / 32768) << i;
    }
    EXPECT_EQ(counts_of(stream).clipped, clipped);
    EXPECT_EQ(counts_of(stream).notNumbers, notNumbers);
  }
}

TEST(StreamFormats, A16BitSampleGoesThroughTheSameRuleWhereThereIsAGain) {
  const Samples in = noise(kFrames, 2, 3);
  for (const char* decibels : {"-6.5", "20"}) {
    const double gain = std::pow(10.0, std::atof(decibels) / 20.0);
    Samples louder;
    for (const int16_t sample : in) louder.push_back(stated(sample / 32768.0, gain));
    const Settings settings = settings_of({{"array", "line:2:40mm"}, {"pre-gain", decibels}});
    EXPECT_EQ(of_16_bits(settings, in, 2),
              of_16_bits(settings_of({{"array", "line:2:40mm"}}), louder, 2));
  }
}

TEST(StreamFormats, RoundingDoesNotDependOnTheHostsMode) {
  const std::vector<float> in = values_of<float>(kFrames, 4);
  const Settings settings = settings_of({{"array", "line:1:40mm"}});
  const auto run = [&] {
    const Stream stream = open_stream(settings, 1);
    VekStream_WriteInterleaved(stream.get(), VEK_STREAM_F32, in.data(), kFrames);
    VekStream_Finish(stream.get());
    Samples out(kFrames);
    VekStream_Read(stream.get(), VEK_STREAM_S16, out.data(), 1, kFrames);
    return out;
  };
  const Samples expected = run();
  for (const int direction : {FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
    std::fesetround(direction);
    const Samples out = run();
    // A length is a decimal number too.
    const std::string fault =
        said(VekStream_Set(settings.get(), "array", "line:1:40.000000000001mm"));
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(out, expected);
    EXPECT_EQ(fault, "");
  }
}

// Frames of six channels, planar with a stride, with holes between the samples.
struct Planes {
  Planes(const Samples& in, size_t channels, ptrdiff_t stride)
      : memory(in.size() * static_cast<size_t>(std::abs(stride)) + 1, 77) {
    const size_t frames = in.size() / channels;
    const size_t step = static_cast<size_t>(std::abs(stride));
    for (size_t c = 0; c < channels; c++) {
      for (size_t f = 0; f < frames; f++) {
        const size_t place = stride > 0 ? f : frames - 1 - f;
        memory[c * frames * step + place * step] = in[f * channels + c];
      }
      channel.push_back(&memory[c * frames * step + (stride > 0 ? 0 : (frames - 1) * step)]);
    }
  }
  Samples memory;
  std::vector<const void*> channel;
};

TEST(StreamFormats, PlanesWithAnyStrideGiveWhatInterleavedFramesGive) {
  const Settings settings =
      settings_of({{"array", "square:60mm"}, {"channels", "6,1,3,2"}, {"algorithm", "adaptive"}});
  const Samples in = noise(kFrames, 6, 5);
  Samples picked;
  for (size_t f = 0; f < kFrames; f++) {
    for (const size_t c : {5u, 0u, 2u, 1u}) picked.push_back(in[f * 6 + c]);
  }
  const Samples expected =
      of_16_bits(settings_of({{"array", "square:60mm"}, {"algorithm", "adaptive"}}), picked, 4);
  EXPECT_EQ(of_16_bits(settings, in, 6), expected);

  for (const ptrdiff_t stride : {1, 3, -1, -2}) {
    SCOPED_TRACE(stride);
    const Planes planes(in, 6, stride);
    const Stream stream = open_stream(settings, 6);
    EXPECT_EQ(VekStream_Write(stream.get(), VEK_STREAM_S16, planes.channel.data(), stride, kFrames),
              kFrames);
    VekStream_Finish(stream.get());
    Samples out(kFrames * 3, 55);
    EXPECT_EQ(VekStream_Read(stream.get(), VEK_STREAM_S16, out.data(), 3, kFrames), kFrames);
    for (size_t f = 0; f < kFrames; f++) {
      ASSERT_EQ(out[3 * f], expected[f]) << f;
      ASSERT_EQ(out[3 * f + 1], 55) << f;
      ASSERT_EQ(out[3 * f + 2], 55) << f;
    }
  }
}

TEST(StreamFormats, ACallbackMayWorkInPlace) {
  const Settings settings = settings_of({{"array", "line:3:40mm"}});
  const Samples in = noise(kFrames, 3, 6);
  const Stream apart = open_stream(settings, 3);
  Samples expected(kFrames);
  VekStream_ProcessInterleaved(apart.get(), VEK_STREAM_S16, in.data(), expected.data(), kFrames);

  std::vector<float> plane[3];
  for (size_t i = 0; i < in.size(); i++) plane[i % 3].push_back(static_cast<float>(in[i]) / 32768);
  const void* channels[] = {plane[0].data(), plane[1].data(), plane[2].data()};
  const Stream within = open_stream(settings, 3);
  VekStream_Process(within.get(), VEK_STREAM_F32, channels, 1, plane[1].data(), 1, kFrames);
  for (size_t f = 0; f < kFrames; f++) {
    ASSERT_EQ(plane[1][f], static_cast<float>(expected[f]) / 32768) << f;
  }

  Samples both = in;
  const Stream mono = open_stream(settings, 3);
  VekStream_ProcessInterleaved(mono.get(), VEK_STREAM_S16, both.data(), both.data(), kFrames);
  both.resize(kFrames);
  EXPECT_EQ(both, expected);
}

TEST(StreamFormats, ANullChannelIsSilent) {
  const Settings settings = settings_of({{"array", "line:2:40mm"}});
  Samples in = noise(kFrames, 2, 7);
  const Planes planes(in, 2, 1);
  const void* channels[] = {planes.channel[0], nullptr};
  const Stream stream = open_stream(settings, 2);
  VekStream_Write(stream.get(), VEK_STREAM_S16, channels, 1, kFrames);
  VekStream_Finish(stream.get());
  Samples out(kFrames);
  VekStream_Read(stream.get(), VEK_STREAM_S16, out.data(), 1, kFrames);
  for (size_t f = 0; f < kFrames; f++) in[2 * f + 1] = 0;
  EXPECT_EQ(out, by_hand(settings, in, ahead).out);

  // So are all channels of a host that has none.
  const Stream dumb = open_stream(settings, 2);
  EXPECT_EQ(VekStream_Write(dumb.get(), VEK_STREAM_S16, nullptr, 1, 5), 5u);
  EXPECT_EQ(VekStream_WriteInterleaved(dumb.get(), VEK_STREAM_F32, nullptr, 5), 5u);
}

TEST(StreamFormats, WhatIsNoFormatIsNotTouched) {
  const Settings settings = settings_of({{"array", "line:1:40mm"}});
  const Stream stream = open_stream(settings, 1);
  int16_t samples[4] = {1, 2, 3, 4};
  for (const int32_t format : {-1, 3, 1000}) {
    EXPECT_EQ(VekStream_WriteInterleaved(stream.get(), format, samples, 4), 0u);
    EXPECT_EQ(VekStream_Read(stream.get(), format, samples, 1, 4), 0u);
    VekStream_ProcessInterleaved(stream.get(), format, samples, samples, 4);
    VekStream_ProcessInterleaved(nullptr, format, samples, samples, 4);
  }
  EXPECT_EQ(samples[0] + samples[3], 5);
  EXPECT_EQ(counts_of(stream).frames, 0u);
  VekStream_ProcessInterleaved(stream.get(), VEK_STREAM_S16, samples, nullptr, 4);
  EXPECT_EQ(VekStream_Read(stream.get(), VEK_STREAM_S16, nullptr, 1, 4), 0u);
}

}  // namespace
}  // namespace vekbf::test
