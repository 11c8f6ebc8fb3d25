// SPDX-License-Identifier: MIT
#include "direction/constants.h"

#include <algorithm>

#include "direction/sizes.h"

namespace vekbf::direction {

namespace {

constexpr int32_t kTransformHop = kBlocksPerTransform * kHopSize;  // samples
constexpr double kSmoothingSeconds = 0.03;
constexpr double kMinimumForgettingSeconds = 4.0;
constexpr double kMinimumLookAheadSeconds = 0.064;
constexpr double kNoiseFloorSeconds = 0.148;
constexpr double kPresenceSeconds = 0.001;
constexpr double kLateSeconds = 0.0147;
constexpr double kFadePerSecond = 0.921034;  // 4 dB, as a natural logarithm of power
constexpr uint32_t kLowestHertz = 200;
constexpr uint32_t kHighestHertz = 7000;
constexpr int32_t kLeastEstimatorRate = 16000;
constexpr uint32_t kDefaultHoldMs = 130;
constexpr uint32_t kDefaultFocusDb = 15;
constexpr double kMinusOneDb = 0.7943282347242815;

// Of a recursive mean with that time constant.
float coefficient(double seconds, double hopSeconds) {
  return static_cast<float>(seconds / (seconds + hopSeconds));
}

}  // namespace

Constants constants_of(uint32_t sampleRate) {
  const auto rate = static_cast<int32_t>(sampleRate);
  const double hop = static_cast<double>(kTransformHop) / rate;
  // The estimator learns from transforms: at low rates it gets as many as at this one.
  const int32_t estimatorRate = std::max(rate, kLeastEstimatorRate);
  const double estimatorHop = static_cast<double>(kTransformHop) / estimatorRate;
  Constants c;
  c.smoothing = coefficient(kSmoothingSeconds, estimatorHop);
  c.minimumForgetting = coefficient(kMinimumForgettingSeconds, estimatorHop);
  c.minimumLookAhead = coefficient(kMinimumLookAheadSeconds, estimatorHop);
  c.noiseFloorFactor = coefficient(kNoiseFloorSeconds, estimatorHop);
  c.presenceSmoothing = coefficient(kPresenceSeconds, estimatorHop);
  c.lateDecay = coefficient(kLateSeconds, hop);
  c.transformsPerUpdate = (rate + 4000) / 8000;
  c.lateLag = std::max(2, c.transformsPerUpdate);
  c.onsetLag = std::max(1, c.transformsPerUpdate / 2);
  c.settlingTransforms = (3 * estimatorRate + 3999) / 4000;
  c.levelFade = static_cast<float>(1.0 / (1.0 + kFadePerSecond * (c.transformsPerUpdate * hop)));
  const uint32_t spacing = kFrameSize;  // bin k stands for k rate / spacing hertz
  c.firstBin = static_cast<int32_t>((kLowestHertz * spacing + sampleRate - 1) / sampleRate);
  // The lower of the highest frequency and 0.45 of the rate.
  const uint32_t highest = kHighestHertz * spacing / sampleRate;
  const uint32_t share = 9 * spacing / 20;
  c.lastBin = static_cast<int32_t>(std::min(highest, share));
  return c;
}

int32_t hold_updates(uint32_t holdMs, uint32_t sampleRate, int32_t transformsPerUpdate) {
  const uint64_t ms = holdMs == 0 ? kDefaultHoldMs : holdMs;
  const uint64_t blocks = kBlocksPerTransform * static_cast<uint64_t>(transformsPerUpdate);
  // To the nearest number of updates.
  return static_cast<int32_t>((ms * sampleRate + 500 * kHopSize * blocks) /
                              (1000 * kHopSize * blocks));
}

float focus_ratio(uint32_t focusDb) {
  const uint32_t steps = focusDb == 0 ? kDefaultFocusDb : focusDb;
  double ratio = 1.0;
  for (uint32_t i = 0; i < steps; ++i) ratio = ratio * kMinusOneDb;
  return static_cast<float>(ratio);
}

}  // namespace vekbf::direction
