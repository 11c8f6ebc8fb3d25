// SPDX-License-Identifier: MIT
//
// The smoothing over bins runs upwards and in place: each value takes half of its time-smoothed
// probability and a quarter of each neighbour, the lower one already this frame's, the upper one
// still the last frame's: one chain of 255 dependent steps, which would take twice the time of a
// transform. An error in a chain's starting value shrinks by 4 per bin. So four chains run in
// parallel; each later one starts 24 or more bins early from last frame's value, and is accepted
// from the first bin where it equals the chain below. Before that bin the steps are done again.
#include "bf/presence_gain.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace vekbf {

namespace {

inline constexpr int kChains = 4;
inline constexpr int kChainLength = 82;
// First bins; each chain starts 24 bins (a factor of 2^48) or more before the end of the one below
// it.
inline constexpr int kStart[kChains] = {1, 59, 117, 174};
static_assert(kStart[kChains - 1] + kChainLength == kBinCount - 1,
              "bins 0 and 256 stay as they are");

struct Smoothing {
  const float* probability;
  const float* past;  // last frame's gain
  float keep;
  float take;

  float step(float below, int k) const {
    const float smoothed = take * probability[k] + keep * past[k];
    const double neighbours = static_cast<double>(below) + static_cast<double>(past[k + 1]);
    return static_cast<float>(0.5 * static_cast<double>(smoothed) + 0.25 * neighbours);
  }
};

bool same_float(float a, float b) {
  return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b);
}

}  // namespace

void smooth_presence_gain(BinValues& gain, const float* probability, float keep) {
  BinValues past;
  std::memcpy(past, gain, sizeof past);
  const Smoothing smoothing = {probability, past, keep, 1.0f - keep};

  float chain[kChains][kChainLength];
  float value[kChains];
  for (int c = 0; c < kChains; ++c) value[c] = past[kStart[c] - 1];
  for (int i = 0; i < kChainLength; ++i) {
    for (int c = 0; c < kChains; ++c) {
      value[c] = smoothing.step(value[c], kStart[c] + i);
      chain[c][i] = value[c];
    }
  }

  std::memcpy(gain + kStart[0], chain[0], sizeof chain[0]);
  for (int c = 1; c < kChains; ++c) {
    const int end = kStart[c] + kChainLength;
    int k = kStart[c - 1] + kChainLength - 1;  // the last bin of the chain below, known to be right
    while (!same_float(gain[k], chain[c][k - kStart[c]])) {
      if (++k == end) break;
      gain[k] = smoothing.step(gain[k - 1], k);
    }
    const int rest = k + 1;
    if (rest < end) {
      std::memcpy(gain + rest, &chain[c][rest - kStart[c]],
                  static_cast<size_t>(end - rest) * sizeof(float));
    }
  }
}

}  // namespace vekbf
