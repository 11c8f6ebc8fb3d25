// SPDX-License-Identifier: MIT
//
// Conversion between the host's sample formats and the library's 16 bits.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vekbf::stream {

// From full scale 1.0 to 16 bits, and what was lost on the way.
struct Conversion {
  double scale;  // 32768 times the gain
  uint64_t clipped;
  uint64_t notNumbers;
};

// 32768 times a gain in decibels.
double scale_of(double decibels);

// Bytes of one sample; 0 if the number is not a format.
size_t sample_size(int32_t format);

// `frames` samples from frame `first` of a channel on, into every `mics`th place of `out`. A null
// channel is silent. `format` is one that has a size.
void take_samples(Conversion& conversion, int32_t format, const void* channel, ptrdiff_t stride,
                  size_t first, size_t frames, int16_t* out, size_t mics);

// `count` samples to the host, from place `first` on.
void give_samples(int32_t format, const int16_t* samples, size_t count, void* out, ptrdiff_t stride,
                  size_t first);
void give_silence(int32_t format, size_t count, void* out, ptrdiff_t stride, size_t first);

}  // namespace vekbf::stream
