// SPDX-License-Identifier: MIT
#include "base/framing.h"

#include <cstring>

namespace vekbf {

namespace {

// The stride is a constant of each instance of the template, so that compilers use the
// de-interleaving loads and conversions of the vector unit.
template <int kStride>
void take_every(float* samples, const int16_t* in) {
  for (int t = 0; t < kHopSize; ++t) samples[t] = static_cast<float>(in[t * kStride]);
}

}  // namespace

bool is_zero_block(const int16_t* in) {
  // bit-exact contract: a sum modulo 2^32 over the first 128 values, whatever the number of
  // channels. A block whose squares add up to a multiple of 2^32 counts as a zero block too.
  uint32_t sum = 0;
  for (int i = 0; i < kHopSize; ++i) sum += static_cast<uint32_t>(int32_t{in[i]} * int32_t{in[i]});
  return sum == 0;
}

void slide_history(float* history) {
  std::memmove(history, history + kHopSize, kKeptSize * sizeof *history);
}

void take_channel(float* samples, const int16_t* in, int mic, int32_t channels) {
  switch (channels) {
    case 1:
      return take_every<1>(samples, in + mic);
    case 2:
      return take_every<2>(samples, in + mic);
    case 3:
      return take_every<3>(samples, in + mic);
    case 4:
      return take_every<4>(samples, in + mic);
    default:
      std::memset(samples, 0, kHopSize * sizeof *samples);
  }
}

void drain_output(int16_t* out, int16_t* overlap) {
  std::memcpy(out, overlap, kHopSize * sizeof *out);
  std::memmove(overlap, overlap + kHopSize, kKeptSize * sizeof *overlap);
  std::memset(overlap + kKeptSize, 0, kHopSize * sizeof *overlap);
}

}  // namespace vekbf
