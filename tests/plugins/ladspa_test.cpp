// SPDX-License-Identifier: MIT
//
// A host of the LADSPA plug-in: what comes out is what the library itself gives for the blocks.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <ladspa.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "stream/by_hand.h"
#include "support/random.h"
#include "vek_stream.h"

namespace vekbf::test {
namespace {

constexpr unsigned long kRate = 16000;
constexpr size_t kDelay = 511;
constexpr int kControls = 9;

const LADSPA_Descriptor* descriptor_of(int mics) {
  static void* const module = dlopen(VEKBF_LADSPA_MODULE, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) return nullptr;
  const auto entry =
      reinterpret_cast<LADSPA_Descriptor_Function>(dlsym(module, "ladspa_descriptor"));
  return entry(static_cast<unsigned long>(mics - 2));
}

// Angle, spacing, square, adaptive, intensity, follow; direction, confidence, latency.
struct Controls {
  float value[kControls] = {60, 80, 0, 0, 3, 0, -9, -9, -9};
};
constexpr int kAngle = 0;
constexpr int kFollow = 5;
constexpr int kDirection = 6;
constexpr int kConfidence = 7;
constexpr int kLatency = 8;

class Plugin {
 public:
  explicit Plugin(int mics, Controls given = {})
      : controls(given), mics_(mics), descriptor_(descriptor_of(mics)) {
    handle_ = descriptor_->instantiate(descriptor_, kRate);
    for (int c = 0; c < kControls; ++c) {
      descriptor_->connect_port(handle_, static_cast<unsigned long>(mics + 1 + c),
                                &controls.value[c]);
    }
    descriptor_->activate(handle_);
  }
  ~Plugin() {
    descriptor_->deactivate(handle_);
    descriptor_->cleanup(handle_);
  }
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  // One buffer for each microphone.
  std::vector<float> run(std::vector<std::vector<float>>& in) {
    std::vector<float> out(in[0].size(), NAN);
    for (int m = 0; m < mics_; ++m) {
      descriptor_->connect_port(handle_, static_cast<unsigned long>(m),
                                in[static_cast<size_t>(m)].data());
    }
    descriptor_->connect_port(handle_, static_cast<unsigned long>(mics_), out.data());
    descriptor_->run(handle_, out.size());
    return out;
  }

  Controls controls;

 private:
  int mics_;
  const LADSPA_Descriptor* descriptor_;
  LADSPA_Handle handle_;
};

// The line of 80 mm or the square of 64 mm that the controls ask for.
VekBfInit array_of(int mics, const Controls& controls) {
  VekBfInit array{};
  array.sampleRate = kRate;
  array.bitWidth = 16;
  array.micNum = mics;
  array.soundSpeed = 343;
  array.algorithm = controls.value[3] >= 0.5f ? VEK_ADAPTIVE_BF : VEK_FIXED_BF;
  if (controls.value[2] >= 0.5f) {
    array.geometry = VEK_BF_UNIFORM_TRIANGLE_ARRAY;
    array.micCoordinate[0][0] = static_cast<float>(0.064 / std::sqrt(2.0));
  } else {
    for (int m = 0; m < mics; ++m) array.micCoordinate[m][0] = static_cast<float>(0.08 * m);
  }
  return array;
}

// What the rule makes of a float: value, 16 bits.
struct Sample {
  float given;
  int16_t taken;
};

Sample sample_of(Random& random) {
  const auto value = static_cast<int16_t>(random.below(20000) - 10000);
  switch (random.below(2000)) {
    case 0:
      return {NAN, 0};
    case 1:
      return {std::numeric_limits<float>::infinity(), 32767};
    case 2:
      return {-2.0f, -32768};
    case 3:
      return {1e-42f, 0};
    default:
      return {static_cast<float>(value) / 32768.0f, value};
  }
}

void expect_the_librarys_samples(int mics, Controls controls, size_t frames, uint32_t seed) {
  SCOPED_TRACE("mics " + std::to_string(mics) + ", seed " + std::to_string(seed));
  constexpr int kLengths[] = {64, 1024, 341, 342, 1, 0, 127, 128, 129, 2048};
  Random random(seed);
  Plugin plugin(mics, controls);
  Samples taken;
  std::vector<float> out;
  std::vector<int32_t> angles;
  while (out.size() < frames) {
    const size_t length =
        static_cast<size_t>(random.below(4) == 0 ? random.below(3000) : kLengths[random.below(10)]);
    const bool silent = random.below(16) == 0;
    std::vector<std::vector<float>> in(static_cast<size_t>(mics), std::vector<float>(length));
    for (size_t i = 0; i < length; ++i) {
      for (auto& microphone : in) {
        const Sample sample = silent ? Sample{0.0f, 0} : sample_of(random);
        microphone[i] = sample.given;
        taken.push_back(sample.taken);
      }
    }
    plugin.controls.value[kAngle] = static_cast<float>(random.below(361));
    // Blocks that begin within this run.
    const size_t blocks = (out.size() + length + kBlock - 1) / kBlock;
    angles.resize(blocks, static_cast<int32_t>(plugin.controls.value[kAngle]));
    const std::vector<float> beam = plugin.run(in);
    out.insert(out.end(), beam.begin(), beam.end());
  }
  EXPECT_EQ(plugin.controls.value[kLatency], static_cast<float>(kDelay));
  EXPECT_EQ(plugin.controls.value[kDirection], -1.0f);
  const VekBfConfig config = {0.5f, static_cast<uint32_t>(controls.value[4])};
  const ByHand expected = by_hand(array_of(mics, controls), config, true, taken, [&](size_t block) {
    return angles[std::min(block, angles.size() - 1)];
  });
  for (size_t i = 0; i < out.size(); ++i) {
    const float sample = i < kDelay ? 0.0f : static_cast<float>(expected.out[i - kDelay]);
    ASSERT_EQ(out[i] * 32768.0f, sample) << "sample " << i;
  }
}

#ifdef VEKBF_EMULATED
constexpr size_t kSeconds = 5;
#else
constexpr size_t kSeconds = 30;
#endif

TEST(Ladspa, GivesTheLibrarysSamples) {
  const size_t frames = kSeconds * kRate;
  for (int mics = 2; mics <= 4; ++mics) {
    Controls controls;
    expect_the_librarys_samples(mics, controls, frames, static_cast<uint32_t>(mics));
    controls.value[3] = 1;
    controls.value[4] = 7;
    expect_the_librarys_samples(mics, controls, frames, static_cast<uint32_t>(10 + mics));
  }
  Controls square;
  square.value[1] = 64;
  square.value[2] = 1;
  expect_the_librarys_samples(4, square, frames, 20);
}

// One talker in bursts of noise, as far from every microphone: at 90 degrees of the line.
TEST(Ladspa, FollowsTheTalkerAsTheCompanionDoes) {
  Controls controls;
  controls.value[kFollow] = 1;
  Plugin plugin(4, controls);
  VekStreamSettings* const settings = VekStream_NewSettings();
  ASSERT_EQ(VekStream_Set(settings, "array", "line:4:80mm"), nullptr);
  ASSERT_EQ(VekStream_Set(settings, "angle", "auto"), nullptr);
  VekStream* twin = nullptr;
  ASSERT_EQ(VekStream_Open(settings, kRate, 4, &twin), nullptr);
  VekStream_FreeSettings(settings);
  constexpr size_t kRun = 1000;
  Random random(3);
  for (int run = 0; run < 64; ++run) {
    const bool speaks = run > 16 && run % 8 < 4;
    std::vector<std::vector<float>> in(4, std::vector<float>(kRun));
    Samples samples;
    for (size_t i = 0; i < kRun; ++i) {
      const int talker = speaks ? random.below(8000) - 4000 : 0;
      for (auto& microphone : in) {
        samples.push_back(static_cast<int16_t>(talker + random.below(40) - 20));
        microphone[i] = static_cast<float>(samples.back()) / 32768.0f;
      }
    }
    // The talker is found whatever the beam does meanwhile: switched off, it looks where it is
    // told.
    const bool follows = run != 60;
    plugin.controls.value[kFollow] = follows ? 1 : 0;
    if (follows) {
      VekStream_SteerAsSet(twin);
    } else {
      VekStream_Steer(twin, 60);
    }
    const std::vector<float> out = plugin.run(in);
    Samples expected(kRun);
    VekStream_ProcessInterleaved(twin, VEK_STREAM_S16, samples.data(), expected.data(), kRun);
    for (size_t i = 0; i < kRun; ++i) {
      ASSERT_EQ(out[i] * 32768.0f, static_cast<float>(expected[i])) << run << ", " << i;
    }
  }
  EXPECT_NEAR(plugin.controls.value[kDirection], 90, 2);
  EXPECT_GT(plugin.controls.value[kConfidence], 0.5f);
  VekStream_Close(twin);
}

TEST(LadspaSlow, GivesTheLibrarysSamplesForADay) {
  for (uint32_t minute = 0; minute < 24 * 60; ++minute) {
    expect_the_librarys_samples(4, {}, 60 * kRate, 100 + minute);
  }
}

TEST(Ladspa, RefusesRatesOfNoBeam) {
  const LADSPA_Descriptor* const plugin = descriptor_of(4);
  for (const unsigned long rate : {7999ul, 48001ul, 96000ul, 0ul}) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(plugin->instantiate(plugin, rate), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "vekbf4: the sample rate is 8000 to 48000 Hz, not " + std::to_string(rate) + "\n");
  }
}

// Expects one line on standard error that holds `words`, and silence after it.
void expect_fault(int mics, Controls controls, const std::string& words) {
  testing::internal::CaptureStderr();
  Plugin plugin(mics, controls);
  std::vector<std::vector<float>> in(static_cast<size_t>(mics), std::vector<float>(2048, 0.1f));
  for (const float sample : plugin.run(in)) EXPECT_EQ(sample, 0.0f);
  const std::string line = testing::internal::GetCapturedStderr();
  EXPECT_NE(line.find(words), std::string::npos) << line;
  EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
}

TEST(Ladspa, IsSilentAndSaysWhyWhereTheArrayIsNotGiven) {
  Controls controls;
  controls.value[1] = 0;
  setenv("VEKBF_CONFIG", "/nowhere/array.conf", 1);
  expect_fault(4, controls, "/nowhere/array.conf");
  unsetenv("VEKBF_CONFIG");
  expect_fault(4, controls, "Spacing (mm)");
  controls.value[1] = -3;
  expect_fault(4, controls, "Spacing (mm)");
  controls.value[1] = 64;
  controls.value[2] = 1;
  expect_fault(3, controls, "Square");
}

TEST(Ladspa, HasOneLabelForEachNumberOfMicrophones) {
  for (int mics = 2; mics <= 4; ++mics) {
    const LADSPA_Descriptor* const plugin = descriptor_of(mics);
    EXPECT_EQ(plugin->Label, "vekbf" + std::to_string(mics));
    ASSERT_EQ(plugin->PortCount, static_cast<unsigned long>(mics + 1 + kControls));
    EXPECT_STREQ(plugin->PortNames[plugin->PortCount - 1], "latency");
  }
  EXPECT_EQ(descriptor_of(5), nullptr);
}

}  // namespace
}  // namespace vekbf::test
