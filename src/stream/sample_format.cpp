// SPDX-License-Identifier: MIT
#include "stream/sample_format.h"

#include <cmath>

#include "vek_stream.h"

namespace vekbf::stream {

namespace {

constexpr double kFullScale = 32768.0;

// 1.5 x 2^52: a double of this size has no fraction bits, so adding it to a number below 2^51
// rounds that number to nearest, ties to even.
constexpr double kRounder = 6755399441055744.0;

int16_t to_16_bits(Conversion& conversion, double value) {
  if (value >= -kFullScale - 0.5 && value < kFullScale - 0.5) {
    return static_cast<int16_t>((value + kRounder) - kRounder);
  }
  if (value != value) {
    conversion.notNumbers++;
    return 0;
  }
  conversion.clipped++;
  return value < 0 ? INT16_MIN : INT16_MAX;
}

template <class Sample>
const Sample* sample_at(const void* channel, ptrdiff_t stride, size_t frame) {
  return static_cast<const Sample*>(channel) + static_cast<ptrdiff_t>(frame) * stride;
}

template <class Sample>
Sample* sample_at(void* channel, ptrdiff_t stride, size_t frame) {
  return static_cast<Sample*>(channel) + static_cast<ptrdiff_t>(frame) * stride;
}

template <class Sample>
void convert(Conversion& conversion, double scale, const Sample* in, ptrdiff_t stride,
             size_t frames, int16_t* out, size_t mics) {
  for (size_t i = 0; i < frames; i++) {
    out[i * mics] = to_16_bits(conversion, static_cast<double>(*in) * scale);
    in += stride;
  }
}

void copy(const int16_t* in, ptrdiff_t stride, size_t frames, int16_t* out, size_t mics) {
  for (size_t i = 0; i < frames; i++) {
    out[i * mics] = *in;
    in += stride;
  }
}

template <class Sample, class Value>
void give(const Value& value, size_t count, Sample* out, ptrdiff_t stride) {
  for (size_t i = 0; i < count; i++) {
    *out = value(i);
    out += stride;
  }
}

template <class Value>
void give_as(int32_t format, const Value& value, size_t count, void* out, ptrdiff_t stride,
             size_t first) {
  switch (format) {
    case VEK_STREAM_S16:
      give(value, count, sample_at<int16_t>(out, stride, first), stride);
      break;
    case VEK_STREAM_F32:
      give([&](size_t i) { return static_cast<float>(value(i)) / static_cast<float>(kFullScale); },
           count, sample_at<float>(out, stride, first), stride);
      break;
    default:
      give([&](size_t i) { return static_cast<double>(value(i)) / kFullScale; }, count,
           sample_at<double>(out, stride, first), stride);
  }
}

}  // namespace

double scale_of(double decibels) { return kFullScale * std::pow(10.0, decibels / 20.0); }

size_t sample_size(int32_t format) {
  switch (format) {
    case VEK_STREAM_S16:
      return sizeof(int16_t);
    case VEK_STREAM_F32:
      return sizeof(float);
    case VEK_STREAM_F64:
      return sizeof(double);
    default:
      return 0;
  }
}

void take_samples(Conversion& conversion, int32_t format, const void* channel, ptrdiff_t stride,
                  size_t first, size_t frames, int16_t* out, size_t mics) {
  const double scale = conversion.scale;
  if (channel == nullptr) {
    for (size_t i = 0; i < frames; i++) out[i * mics] = 0;
  } else if (format == VEK_STREAM_F32) {
    convert(conversion, scale, sample_at<float>(channel, stride, first), stride, frames, out, mics);
  } else if (format == VEK_STREAM_F64) {
    convert(conversion, scale, sample_at<double>(channel, stride, first), stride, frames, out,
            mics);
  } else if (scale == kFullScale) {
    copy(sample_at<int16_t>(channel, stride, first), stride, frames, out, mics);
  } else {
    // Exact: the product with a power of two is.
    convert(conversion, scale / kFullScale, sample_at<int16_t>(channel, stride, first), stride,
            frames, out, mics);
  }
}

void give_samples(int32_t format, const int16_t* samples, size_t count, void* out, ptrdiff_t stride,
                  size_t first) {
  give_as(
      format, [&](size_t i) { return samples[i]; }, count, out, stride, first);
}

void give_silence(int32_t format, size_t count, void* out, ptrdiff_t stride, size_t first) {
  give_as(
      format, [](size_t) { return int16_t{0}; }, count, out, stride, first);
}

}  // namespace vekbf::stream
