// SPDX-License-Identifier: MIT
#include "base/framing.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace vekbf {

namespace {

// Drops the oldest hop of a history; the newest one is then free for new samples.
void slide(float* history) {
  std::memmove(history, history + kHopSize, kKeptSize * sizeof *history);
}

// The number of channels is a constant of each instance of the template, so that compilers use the
// de-interleaving loads and conversions of the vector unit.
template <int kChannels>
void take_channels(float (*histories)[kFrameSize], const int16_t* in) {
  for (int m = 0; m < kChannels; ++m) {
    float* const samples = histories[m] + kKeptSize;
    for (int t = 0; t < kHopSize; ++t) samples[t] = static_cast<float>(in[t * kChannels + m]);
  }
}

// Samples 2i and 2i + 1 as one word, in the order of the machine.
uint32_t load_pair(const int16_t* in) {
  uint32_t pair;
  std::memcpy(&pair, in, sizeof pair);
  return pair;
}

constexpr int kSampleBits = 16;
constexpr bool kFirstIsLow = std::endian::native == std::endian::little;

float low_sample(uint32_t pair) {
  return static_cast<float>(static_cast<int32_t>(pair << kSampleBits) >> kSampleBits);
}
float high_sample(uint32_t pair) {
  return static_cast<float>(static_cast<int32_t>(pair) >> kSampleBits);
}

// Two channels at a time: vector units take words apart with fewer instructions than samples.
template <>
void take_channels<4>(float (*histories)[kFrameSize], const int16_t* in) {
  float* const first = histories[0] + kKeptSize;
  float* const second = histories[1] + kKeptSize;
  float* const third = histories[2] + kKeptSize;
  float* const fourth = histories[3] + kKeptSize;
  for (int t = 0; t < kHopSize; ++t) {
    const uint32_t front = load_pair(in + 4 * t);
    const uint32_t back = load_pair(in + 4 * t + 2);
    first[t] = kFirstIsLow ? low_sample(front) : high_sample(front);
    second[t] = kFirstIsLow ? high_sample(front) : low_sample(front);
    third[t] = kFirstIsLow ? low_sample(back) : high_sample(back);
    fourth[t] = kFirstIsLow ? high_sample(back) : low_sample(back);
  }
}

}  // namespace

bool is_zero_block(const int16_t* in) {
  // bit-exact contract: a sum modulo 2^32 over the first 128 values, whatever the number of
  // channels. A block whose squares add up to a multiple of 2^32 counts as a zero block too.
  uint32_t sum = 0;
  for (int i = 0; i < kHopSize; ++i) sum += static_cast<uint32_t>(int32_t{in[i]} * int32_t{in[i]});
  return sum == 0;
}

void take_block(float (*histories)[kFrameSize], const int16_t* in, int32_t channels) {
  const int rows = std::clamp(channels, 0, kMaxMics);
  for (int m = 0; m < rows; ++m) slide(histories[m]);
  switch (channels) {
    case 1:
      return take_channels<1>(histories, in);
    case 2:
      return take_channels<2>(histories, in);
    case 3:
      return take_channels<3>(histories, in);
    case 4:
      return take_channels<4>(histories, in);
    default:
      for (int m = 0; m < rows; ++m) {
        std::memset(histories[m] + kKeptSize, 0, kHopSize * sizeof(float));
      }
  }
}

void drain_output(int16_t* out, int16_t* overlap) {
  std::memcpy(out, overlap, kHopSize * sizeof *out);
  std::memmove(overlap, overlap + kHopSize, kKeptSize * sizeof *overlap);
  std::memset(overlap + kKeptSize, 0, kHopSize * sizeof *overlap);
}

}  // namespace vekbf
