// SPDX-License-Identifier: MIT
//
// Streams of power spectra for the estimator and the detector.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/random.h"

namespace vekbf::test {

// Whether the vector lanes take subnormals for zero, as the 32-bit ARM unit does.
#if defined(__arm__) && !defined(VEKBF_PORTABLE)
inline constexpr bool kFlushes = true;
#else
inline constexpr bool kFlushes = false;
#endif

enum class StreamKind {
  kNoise,     // exponential about one level, as the power of Gaussian noise is
  kSpeech,    // noise with words: bands that come and go, up to 60 dB above it
  kLoud,      // bursts over twelve decades, bin by bin
  kSilence,   // zero but for single bins in single frames
  kRamp,      // levels that rise and fall by a factor a frame
  kOrdinals,  // any non-negative float between 1e-25 and 1e30, or zero
  kAnything,  // any bit pattern at all, subnormals left out: infinities, negatives, no numbers
};
inline constexpr StreamKind kStreamKinds[] = {
    StreamKind::kNoise, StreamKind::kSpeech,   StreamKind::kLoud,     StreamKind::kSilence,
    StreamKind::kRamp,  StreamKind::kOrdinals, StreamKind::kAnything,
};

class PowerStream {
 public:
  PowerStream(StreamKind kind, uint64_t seed) : kind_(kind), random_(seed) {}

  void next(std::vector<float>& power) {
    for (size_t k = 0; k < power.size(); ++k) power[k] = value(k);
    ++frame_;
  }

 private:
  // Mean 1, by the library's logarithm: the same on every machine after rounding to few bits.
  float exponential() {
    const double uniform = (static_cast<double>(random_.next32()) + 0.5) * 0x1p-32;
    return static_cast<float>(std::round(-std::log(uniform) * 0x1p20) * 0x1p-20) + 0x1p-20f;
  }
  bool talking(size_t k) const {
    const bool word = (frame_ / 23) % 3 == 1;
    return word && (k / 9 + static_cast<size_t>(frame_ / 7)) % 3 != 0;
  }

  float value(size_t k) {
    switch (kind_) {
      case StreamKind::kNoise:
        return 1e4f * exponential();
      case StreamKind::kSpeech:
        return (talking(k) ? 1e9f / static_cast<float>(1 + k) : 1e4f) * exponential();
      case StreamKind::kLoud:
        return std::ldexp(exponential(), random_.below(40));
      case StreamKind::kSilence:
        return random_.below(97) == 0 ? exponential() : 0.0f;
      case StreamKind::kRamp: {
        const int phase = static_cast<int>((static_cast<size_t>(frame_) + 5 * k) % 120);
        return std::ldexp(exponential(), phase < 60 ? phase : 120 - phase);
      }
      case StreamKind::kOrdinals:
        return random_.below(50) == 0 ? 0.0f : std::ldexp(exponential(), random_.below(180) - 80);
      case StreamKind::kAnything: {
        const float any = random_.any_float();
        return std::fabs(any) < std::numeric_limits<float>::min() ? 1.0f : any;
      }
    }
    return 0.0f;
  }

  StreamKind kind_;
  Random random_;
  int frame_ = 0;
};

}  // namespace vekbf::test
