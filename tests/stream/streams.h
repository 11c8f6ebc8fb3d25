// SPDX-License-Identifier: MIT
//
// Settings and streams that release themselves.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <initializer_list>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "stream/by_hand.h"
#include "vek_stream.h"

namespace vekbf::test {

struct FreeSettings {
  void operator()(VekStreamSettings* settings) const { VekStream_FreeSettings(settings); }
};
using Settings = std::unique_ptr<VekStreamSettings, FreeSettings>;

struct CloseStream {
  void operator()(VekStream* stream) const { VekStream_Close(stream); }
};
using Stream = std::unique_ptr<VekStream, CloseStream>;

using Pairs = std::initializer_list<std::pair<const char*, const char*>>;

// What a fault says; empty without one.
inline std::string said(const char* fault) { return fault == nullptr ? "" : fault; }

// A path that no other run of the tests takes.
inline std::string own_path(const std::string& name) {
  return testing::TempDir() + "vekbf." + std::to_string(getpid()) + "." + name;
}

inline Settings settings_of(const Pairs& pairs) {
  Settings settings(VekStream_NewSettings());
  for (const auto& [key, value] : pairs) {
    EXPECT_EQ(said(VekStream_Set(settings.get(), key, value)), "");
  }
  return settings;
}

inline Stream open_stream(const Settings& settings, int32_t channels, uint32_t rate = 16000) {
  VekStream* stream = nullptr;
  EXPECT_EQ(said(VekStream_Open(settings.get(), rate, channels, &stream)), "");
  return Stream(stream);
}

inline VekStreamCounts counts_of(const Stream& stream) {
  VekStreamCounts counts;
  VekStream_GetCounts(stream.get(), &counts);
  return counts;
}

// The twin of what `settings` open.
inline ByHand by_hand(const Settings& settings, const Samples& in, const BlockAngles& angles,
                      uint32_t rate = 16000) {
  VekBfInit array{};
  VekBfConfig config{};
  EXPECT_EQ(said(VekStream_GetArray(settings.get(), rate, &array)), "");
  VekStream_GetConfig(settings.get(), &config);
  return by_hand(array, config, VekStream_GetNumber(settings.get(), "keep-time") == 1, in, angles);
}

inline Samples noise(size_t frames, size_t channels, unsigned seed) {
  std::mt19937 random(seed);
  Samples samples(frames * channels);
  for (int16_t& s : samples) {
    s = static_cast<int16_t>(static_cast<int>(random() % 8001) - 4000);
  }
  return samples;
}

}  // namespace vekbf::test
