// SPDX-License-Identifier: MIT
//
// States of the front end that release themselves, and calls of it that say what they print.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "fft/fft.h"
#include "support/bits.h"
#include "support/printed.h"
#include "support/transforms.h"

namespace vekbf::test {

inline constexpr int32_t kPowerHann = 0, kHamming = 1, kHann = 2, kRectangular = 3;

inline const std::string kEnabledLine = kConfiguredLine;

struct FreeState {
  void operator()(FftState* state) const { fft_free(state); }
};
using State = std::unique_ptr<FftState, FreeState>;

// A state, and what fft_init printed while it was made.
struct Made {
  State state;
  std::string text;
};

inline Made make(const FftInitParams& params) {
  Made made;
  made.text = printed([&] { made.state.reset(fft_init(&params)); });
  return made;
}

inline State make_state(int32_t size, int32_t window = kHamming, int32_t symmetric = 0) {
  return make({symmetric, size, 0, window}).state;
}

// A call that must print nothing.
inline void transform(const State& state, float* in, float* out, int32_t direction) {
  EXPECT_EQ(printed([&] { do_fft(state.get(), in, out, direction); }), "");
}

inline Spectrum forward(const State& state, Samples& in) {
  Spectrum out(in.size() / 2 + 1);
  transform(state, in.data(), as_floats(out.data()), kForward);
  return out;
}

inline Samples inverse(const State& state, Spectrum in) {
  Samples out(static_cast<size_t>(state->fftSize));
  transform(state, as_floats(in.data()), out.data(), kInverse);
  return out;
}

inline Samples random_samples(int32_t size, uint64_t seed) {
  Random random(seed);
  return samples_of(Kind::kSamples, size, random);
}

struct Refusal {
  Samples in = random_samples(512, 29);
  Samples out = Samples(514, 7.0f);
  Samples kept = in;

  std::string call(FftState* state, int32_t direction) {
    return printed([&] { do_fft(state, in.data(), out.data(), direction); });
  }
  void expect_nothing_written() const {
    EXPECT_TRUE(same_floats(in.data(), kept.data(), in.size()));
    for (const float x : out) ASSERT_EQ(x, 7.0f);
  }
};

}  // namespace vekbf::test
