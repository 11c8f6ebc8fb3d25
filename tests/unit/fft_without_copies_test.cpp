// SPDX-License-Identifier: MIT
//
// fft_analyse and fft_synthesise: what do_fft gives, with the frame left alone.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "fft/fft.h"
#include "support/bits.h"
#include "support/fft_states.h"
#include "support/printed.h"
#include "support/transforms.h"

namespace vekbf::test {
namespace {

constexpr int32_t kSizes[] = {32, 64, 128, 256, 512, 513, 1024, 4096};

TEST(FftAnalyse, IsTheForwardTransformWithTheFrameLeftAlone) {
  for (const int32_t size : kSizes) {
    const State state = make_state(size);
    const auto count = static_cast<size_t>(size);
    const Samples samples = random_samples(size, 31);
    Samples frame = samples, windowed(count, 7.0f), in = samples;
    Spectrum bins(count / 2 + 1, kUntouched);
    bool done = false;
    EXPECT_EQ(printed([&] {
                done =
                    fft_analyse(state.get(), frame.data(), windowed.data(), as_floats(bins.data()));
              }),
              "");
    EXPECT_TRUE(done);
    const Spectrum expected = forward(state, in);
    EXPECT_TRUE(same_spectra(bins.data(), expected.data(), bins.size())) << size;
    EXPECT_TRUE(same_floats(windowed.data(), in.data(), count)) << size;
    EXPECT_TRUE(same_floats(frame.data(), samples.data(), count)) << size;
  }
}

TEST(FftSynthesise, IsTheInverseTransformWithItsSumOfWindows) {
  for (const int32_t size : kSizes) {
    const State state = make_state(size), other = make_state(size);
    const auto count = static_cast<size_t>(size);
    Samples in = random_samples(size, 32);
    const Spectrum bins = forward(state, in);
    Spectrum kept = bins;
    Samples out(count);  // (of an odd frame the last sample is windowed only)
    bool done = false;
    EXPECT_EQ(
        printed([&] { done = fft_synthesise(state.get(), as_floats(kept.data()), out.data()); }),
        "");
    EXPECT_TRUE(done);
    const Samples expected = inverse(other, bins);
    EXPECT_TRUE(same_floats(out.data(), expected.data(), count)) << size;
    EXPECT_TRUE(same_floats(state->windowSqSum, other->windowSqSum, count)) << size;
    EXPECT_TRUE(same_spectra(kept.data(), bins.data(), bins.size())) << size;
  }
}

TEST(FftAnalyse, OfASizeThatTheEngineLeavesAloneOnlyTheWindowIsApplied) {
  for (const int32_t size : {1, 31, 100}) {
    const State state = make_state(size);
    const auto count = static_cast<size_t>(size);
    const Samples frame = random_samples(size, 33);
    Samples windowed(count, 7.0f);
    Spectrum bins(count / 2 + 1, kUntouched);
    EXPECT_TRUE(fft_analyse(state.get(), frame.data(), windowed.data(), as_floats(bins.data())));
    for (const Complex c : bins) EXPECT_TRUE(is_untouched(c)) << size;
    for (size_t i = 0; i < count; ++i) ASSERT_EQ(windowed[i], frame[i] * state->window[i]);
  }
}

// What both print and write for a state that they refuse: do_fft's line and nothing.
void expect_refused(FftState* state, const std::string& line) {
  const Samples samples = random_samples(512, 34);
  Samples frame = samples, windowed(512, 7.0f), bins(514, 7.0f);
  bool done = true;
  EXPECT_EQ(printed([&] { done = fft_analyse(state, frame.data(), windowed.data(), bins.data()); }),
            line);
  EXPECT_FALSE(done);
  done = true;
  EXPECT_EQ(printed([&] { done = fft_synthesise(state, bins.data(), windowed.data()); }), line);
  EXPECT_FALSE(done);
  EXPECT_TRUE(same_floats(frame.data(), samples.data(), 512));
  for (const float x : windowed) ASSERT_EQ(x, 7.0f);
  for (const float x : bins) ASSERT_EQ(x, 7.0f);
}

TEST(FftAnalyse, RefusesWhatDoFftRefuses) {
  expect_refused(nullptr, "[ALGO_MSG_ERR, do_fft] FFT work buffer is NULL\n");
  const State state = make_state(512);
  for (const int32_t flag : {0, 2, -1}) {
    state->initFlag = flag;
    expect_refused(state.get(), "[ALGO_MSG_ERR, do_fft] FFT work buffer hasn't been initialized\n");
  }
  for (int i = 0; i < 512; ++i) EXPECT_EQ(state->windowSqSum[i], 0.0f);
}

}  // namespace
}  // namespace vekbf::test
