// SPDX-License-Identifier: MIT
#include "fft/fft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "reference/model.h"
#include "support/bits.h"
#include "support/fft_states.h"
#include "support/printed.h"
#include "support/transforms.h"

namespace vekbf::test {
namespace {

constexpr int32_t kWindows[] = {kPowerHann, kHamming, kHann, kRectangular, 4, 7, -1};

// --- The records

TEST(FftRecords, FieldsStandInTheirOrder) {
  EXPECT_EQ(sizeof(FftInitParams), 16u);
  EXPECT_EQ(offsetof(FftInitParams, symmetric), 0u);
  EXPECT_EQ(offsetof(FftInitParams, fftSize), 4u);
  EXPECT_EQ(offsetof(FftInitParams, reserved), 8u);
  EXPECT_EQ(offsetof(FftInitParams, windowType), 12u);
  constexpr size_t kPointer = sizeof(void*);
  EXPECT_EQ(offsetof(FftState, plan), 0u);
  EXPECT_EQ(offsetof(FftState, window), kPointer);
  EXPECT_EQ(offsetof(FftState, windowSq), 2 * kPointer);
  EXPECT_EQ(offsetof(FftState, windowSqSum), 3 * kPointer);
  EXPECT_EQ(offsetof(FftState, fftSize), 4 * kPointer);
  EXPECT_EQ(offsetof(FftState, frameSize), 4 * kPointer + 4);
  EXPECT_EQ(offsetof(FftState, initFlag), 4 * kPointer + 8);
}

// --- fft_init

TEST(FftInit, ANullRecordIsLoggedAndGivesNull) {
  FftState* state = nullptr;
  const std::string text = printed([&] { state = fft_init(nullptr); });
  EXPECT_EQ(state, nullptr);
  EXPECT_EQ(text, "[ALGO_MSG_ERR, fft_init] The fftInit is NULL\n");
}

TEST(FftInit, TheStateIsUsableAtOnceAndOneLineIsPrinted) {
  const Made made = make({0, 512, 0, kHamming});
  EXPECT_EQ(made.text, "[ALGO_MSG_MSG, fft_init] NEON ENABLE\n");
  ASSERT_NE(made.state, nullptr);
  EXPECT_EQ(made.state->fftSize, 512);
  EXPECT_EQ(made.state->frameSize, 512);
  EXPECT_EQ(made.state->initFlag, 1);
  ASSERT_NE(made.state->plan, nullptr);
  EXPECT_EQ(made.state->plan->ncfft, 256);
  for (int i = 0; i < 512; ++i) ASSERT_EQ(made.state->windowSqSum[i], 0.0f);
}

TEST(FftInit, TheReservedFieldIsNotRead) {
  const State a = make({0, 64, 0, kHann}).state;
  const State b = make({0, 64, -1234567, kHann}).state;
  EXPECT_TRUE(same_floats(a->window, b->window, 64));
}

// w[i] by the table of shapes, evaluated here once more with the arithmetic spelled out.
float window_value(int32_t type, bool symmetric, int32_t n, int32_t i) {
  constexpr double kTwoPi = 6.283185307179586;
  const volatile double points = n, index = i;
  const volatile double denominator = symmetric ? points - 1 : points;
  if (type == kPowerHann) {
    const volatile double step = kTwoPi / (points - 1);
    return static_cast<float>(std::pow((1 - std::cos(step * index)) * 0.5, 0.85));
  }
  const volatile double angle = (index * kTwoPi) / denominator;
  const volatile double scaled = std::cos(angle) * 0.46;
  if (type == kHamming) return static_cast<float>(0.54 - scaled);
  if (type == kHann) return static_cast<float>((1 - std::cos(angle)) * 0.5);
  return type == kRectangular ? 1.0f : 0.0f;
}

TEST(FftInit, EveryWindowOfEverySizeFollowsItsFormula) {
  for (const int32_t type : kWindows) {
    for (const int32_t symmetric : {0, 1, -1}) {
      for (const int32_t size : {-3, 0, 1, 2, 3, 5, 16, 31, 32, 33, 101, 512, 513}) {
        const State state = make_state(size, type, symmetric);
        ASSERT_NE(state, nullptr);
        for (int32_t i = 0; i < size; ++i) {
          const float w = window_value(type, symmetric != 0, size, i);
          ASSERT_PRED2(same_bits, state->window[i], w)
              << "type " << type << " symmetric " << symmetric << " size " << size << " at " << i;
          ASSERT_PRED2(same_bits, state->windowSq[i], w * w) << type << " " << size << " " << i;
        }
      }
    }
  }
}

TEST(FftInit, ThePeriodicHammingWindowPeaksAtTheMiddle) {
  const State state = make_state(512);
  EXPECT_FLOAT_EQ(state->window[0], 0.08f);
  EXPECT_EQ(state->window[256], 1.0f);
  for (int i = 1; i < 256; ++i) ASSERT_NEAR(state->window[i], state->window[512 - i], 1e-7f);
}

TEST(FftInit, TheSymmetricHammingWindowEndsAsItBegins) {
  for (const int32_t symmetric : {1, 2, -1}) {
    const State state = make_state(512, kHamming, symmetric);
    EXPECT_FLOAT_EQ(state->window[0], 0.08f);
    EXPECT_FLOAT_EQ(state->window[511], 0.08f);
  }
}

// Deliberate: this shape is symmetric whatever the flag says, the other two follow it.
TEST(FftInit, ThePowerHannWindowIgnoresTheSymmetryFlag) {
  const State periodic = make_state(64, kPowerHann, 0), symmetric = make_state(64, kPowerHann, 1);
  EXPECT_TRUE(same_floats(periodic->window, symmetric->window, 64));
  EXPECT_NEAR(periodic->window[63], 0.0f, 1e-12f);
  EXPECT_NEAR(periodic->window[31], 1.0f, 1e-3f);
  const State hann = make_state(64, kHann, 0);
  EXPECT_GT(hann->window[63], 1e-3f);
}

// Deliberate: one line per point, and no failure.
TEST(FftInit, AnUnknownWindowIsReportedOncePerPointAndIsAllZeros) {
  const Made made = make({0, 512, 0, 7});
  std::string expected;
  for (int i = 0; i < 512; ++i) expected += "[ALGO_MSG_ERR, fft_init] Error window type\n";
  EXPECT_EQ(made.text, expected + "[ALGO_MSG_MSG, fft_init] NEON ENABLE\n");
  ASSERT_NE(made.state, nullptr);
  EXPECT_EQ(made.state->initFlag, 1);
  for (int i = 0; i < 512; ++i) {
    ASSERT_TRUE(same_bits(made.state->window[i], 0.0f));
    ASSERT_TRUE(same_bits(made.state->windowSq[i], 0.0f));
  }
  for (uint64_t seed = 1; seed < 4; ++seed) {
    Samples in = random_samples(512, seed);
    const Spectrum out = forward(made.state, in);
    for (const float x : in) ASSERT_EQ(x, 0.0f);
    for (const Complex c : out) ASSERT_TRUE(c.re == 0.0f && c.im == 0.0f);
    Random random(seed);
    for (const float x : inverse(made.state, spectrum_of(Kind::kSamples, 257, random))) {
      ASSERT_EQ(x, 0.0f);
    }
  }
}

// --- Sizes that the engine does not transform

TEST(FftInit, SizesWithoutPointsGiveAStateThatDoesNothing) {
  for (const int32_t size : {0, -1, -512, std::numeric_limits<int32_t>::min()}) {
    const Made made = make({0, size, 0, 7});  // no point, so no line about the window either
    EXPECT_EQ(made.text, kEnabledLine) << size;
    ASSERT_NE(made.state, nullptr);
    EXPECT_EQ(made.state->fftSize, size);
    EXPECT_EQ(made.state->frameSize, size);
    EXPECT_EQ(made.state->initFlag, 1);
    EXPECT_EQ(made.state->plan, nullptr);
    float in = 3.0f, out = 4.0f;
    transform(made.state, &in, &out, kForward);
    transform(made.state, &in, &out, kInverse);
    EXPECT_EQ(in, 3.0f);
    EXPECT_EQ(out, 4.0f);
  }
}

TEST(DoFft, OfASizeThatTheEngineLeavesAloneOnlyTheWindowIsApplied) {
  for (const int32_t size : {1, 2, 3, 7, 20, 30, 31, 48, 100, 510}) {
    const State state = make_state(size, kHamming, 0);
    const auto count = static_cast<size_t>(size);
    ASSERT_EQ(state->initFlag, 1);
    EXPECT_EQ(state->plan == nullptr, size < 2);
    const Samples samples = random_samples(size, 20);
    Samples in = samples;
    Spectrum bins(count / 2 + 1, kUntouched);
    transform(state, in.data(), as_floats(bins.data()), kForward);
    for (const Complex c : bins) EXPECT_TRUE(is_untouched(c)) << size;
    for (size_t i = 0; i < count; ++i) ASSERT_EQ(in[i], samples[i] * state->window[i]);

    Samples out = samples;
    transform(state, as_floats(bins.data()), out.data(), kInverse);
    for (size_t i = 0; i < count; ++i) {
      ASSERT_EQ(out[i], samples[i] * state->window[i]) << size;
      ASSERT_EQ(state->windowSqSum[i], state->windowSq[i]) << size;
    }
  }
}

// The transform ignores the last sample of an odd frame; the window does not.
TEST(DoFft, OfAnOddFrameTheLastSampleIsWindowedOnly) {
  const State state = make_state(513, kRectangular), even = make_state(512, kRectangular);
  for (int i = 0; i < 513; ++i) state->window[i] = 0.25f;
  for (int i = 0; i < 512; ++i) even->window[i] = 0.25f;
  Samples in = random_samples(513, 21);
  Samples shorter(in.begin(), in.end() - 1);
  const float last = in[512];
  const Spectrum out = forward(state, in), expected = forward(even, shorter);
  EXPECT_TRUE(same_spectra(out.data(), expected.data(), 257));
  EXPECT_EQ(in[512], last * 0.25f);

  Samples back(513, 8.0f), expected_back(512);
  Spectrum bins = out;
  transform(state, as_floats(bins.data()), back.data(), kInverse);
  transform(even, as_floats(bins.data()), expected_back.data(), kInverse);
  EXPECT_TRUE(same_floats(back.data(), expected_back.data(), 512));
  EXPECT_EQ(back[512], 2.0f);
  EXPECT_EQ(state->windowSqSum[512], 1.0f);
}

// --- do_fft

TEST(DoFft, ForwardIsTheDirectSumOfTheWindowedFrame) {
  for (const int32_t type : {kPowerHann, kHamming, kHann, kRectangular}) {
    const State state = make_state(512, type);
    Samples in = random_samples(512, 22);
    std::vector<Exact> windowed(512);
    for (size_t i = 0; i < 512; ++i) {
      windowed[i] = static_cast<long double>(in[i]) * state->window[i];
    }
    const Spectrum out = forward(state, in);
    EXPECT_LE(relative_error(out, direct_sum(windowed, -1, 257)), 3e-7) << type;
  }
}

TEST(DoFft, ForwardThenInverseReturnsTheFrameWindowedTwice) {
  for (const int32_t size : {32, 64, 128, 256, 512, 1024, 2048, 4096}) {
    const State state = make_state(size);
    const Samples samples = random_samples(size, 23);
    Samples in = samples;
    const Samples back = inverse(state, forward(state, in));
    std::vector<Exact> expected;
    for (size_t i = 0; i < samples.size(); ++i) {
      const long double w = state->window[i];
      expected.emplace_back(samples[i] * w * w);
    }
    EXPECT_LE(relative_error(back, expected), 3e-7) << size;
  }
}

TEST(DoFft, ForwardLeavesTheWindowedSamplesInItsInput) {
  for (const int32_t size : {32, 128, 512}) {
    const State state = make_state(size);
    const Samples samples = random_samples(size, 24);
    Samples in = samples;
    forward(state, in);
    for (size_t i = 0; i < in.size(); ++i) {
      ASSERT_TRUE(same_bits(in[i], samples[i] * state->window[i])) << size << " " << i;
    }
  }
}

TEST(DoFft, InverseLeavesItsInputAlone) {
  const State state = make_state(512);
  Random random(25);
  const Spectrum kept = spectrum_of(Kind::kSamples, 257, random);
  Spectrum in = kept;
  Samples out(512);
  transform(state, as_floats(in.data()), out.data(), kInverse);
  EXPECT_TRUE(same_spectra(in.data(), kept.data(), 257));
}

TEST(DoFft, WritesExactlyTheBinsAndTheSamples) {
  for (const int32_t size : {32, 64, 512}) {
    const State state = make_state(size);
    const auto count = static_cast<size_t>(size);
    Samples in(count + 1, 2.0f);
    Samples bins(count + 4, 99.0f);
    transform(state, in.data(), bins.data() + 1, kForward);
    EXPECT_EQ(in[count], 2.0f);
    EXPECT_EQ(bins[0], 99.0f);
    EXPECT_EQ(bins[count + 3], 99.0f);
    Samples out(count + 2, 99.0f);
    transform(state, bins.data() + 1, out.data() + 1, kInverse);
    EXPECT_EQ(out[0], 99.0f);
    EXPECT_EQ(out[count + 1], 99.0f);
  }
}

TEST(DoFft, AFrameOfOnesGivesTheSumOfTheWindow) {
  const State state = make_state(512);
  Samples in(512, 1.0f);
  const Spectrum out = forward(state, in);
  EXPECT_NEAR(out[0].re, 0.54f * 512, 1e-4f);
  EXPECT_EQ(out[0].im, 0.0f);
  EXPECT_EQ(out[256].im, 0.0f);
}

// Nothing reads windowSqSum; it is kept for diagnosis.
TEST(DoFft, WindowSqSumGrowsWithEveryInverseCallAndNeverWithAForwardOne) {
  for (const int32_t size : {33, 512}) {
    const State state = make_state(size);
    Samples expected(static_cast<size_t>(size));
    for (int call = 0; call < 3; ++call) {
      Samples in = random_samples(size, 26);
      const Spectrum bins = forward(state, in);
      EXPECT_TRUE(same_floats(state->windowSqSum, expected.data(), expected.size()));
      inverse(state, bins);
      for (size_t i = 0; i < expected.size(); ++i) expected[i] += state->windowSq[i];
      EXPECT_TRUE(same_floats(state->windowSqSum, expected.data(), expected.size()));
    }
  }
}

TEST(DoFft, ChangesNothingElseInTheState) {
  const State state = make_state(512);
  const FftState before = *state;
  const Samples window(state->window, state->window + 512);
  const Samples squares(state->windowSq, state->windowSq + 512);
  Samples in = random_samples(512, 27);
  inverse(state, forward(state, in));
  EXPECT_EQ(state->plan, before.plan);
  EXPECT_EQ(state->window, before.window);
  EXPECT_EQ(state->windowSq, before.windowSq);
  EXPECT_EQ(state->windowSqSum, before.windowSqSum);
  EXPECT_EQ(state->fftSize, 512);
  EXPECT_EQ(state->frameSize, 512);
  EXPECT_EQ(state->initFlag, 1);
  EXPECT_TRUE(same_floats(state->window, window.data(), 512));
  EXPECT_TRUE(same_floats(state->windowSq, squares.data(), 512));
}

// --- Refusals

TEST(DoFft, ANullStateIsLoggedWhateverTheDirection) {
  Refusal refusal;
  for (const int32_t direction : {1, -1, 0, 5}) {
    EXPECT_EQ(refusal.call(nullptr, direction), "[ALGO_MSG_ERR, do_fft] FFT work buffer is NULL\n");
  }
  refusal.expect_nothing_written();
}

TEST(DoFft, AStateWithAnotherFlagIsLoggedBeforeTheDirectionIsLookedAt) {
  const State state = make_state(512);
  Refusal refusal;
  for (const int32_t flag : {0, 2, -1}) {
    state->initFlag = flag;
    for (const int32_t direction : {1, -1, 0, 5}) {
      EXPECT_EQ(refusal.call(state.get(), direction),
                "[ALGO_MSG_ERR, do_fft] FFT work buffer hasn't been initialized\n");
    }
  }
  refusal.expect_nothing_written();
  for (int i = 0; i < 512; ++i) EXPECT_EQ(state->windowSqSum[i], 0.0f);
}

TEST(DoFft, AnyOtherDirectionIsLogged) {
  const State state = make_state(512);
  Refusal refusal;
  for (const int32_t direction : {0, 2, -2, 3, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(refusal.call(state.get(), direction), "[ALGO_MSG_ERR, do_fft] FFT mode is invalid\n");
  }
  refusal.expect_nothing_written();
  for (int i = 0; i < 512; ++i) EXPECT_EQ(state->windowSqSum[i], 0.0f);
}

TEST(FftFree, ANullStatePrintsABareLine) {
  EXPECT_EQ(printed([] { fft_free(nullptr); }), "[FFT FREE]: The handle is NULL\n");
}

// --- The plain model

TEST(DoFft, EqualsThePlainModelBitForBit) {
  const uint64_t seed = test_seed(30);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (const int32_t size : {1, 20, 32, 33, 64, 128, 129, 512, 513, 2048}) {
    for (const int32_t type : {kPowerHann, kHamming, kHann, kRectangular}) {
      const FftInitParams params = {size % 3, size, 0, type};
      const State state = make(params).state;
      FftState* model = reference::fft_init(&params);
      const auto count = static_cast<size_t>(size);
      for (const Kind kind : kKinds) {
        Samples in = samples_of(kind, size, random), model_in = in;
        Spectrum out(count / 2 + 1, kUntouched), model_out = out;
        transform(state, in.data(), as_floats(out.data()), kForward);
        reference::do_fft(model, model_in.data(), as_floats(model_out.data()), kForward);
        ASSERT_TRUE(same_floats(in.data(), model_in.data(), count)) << kind_note(kind, size);
        ASSERT_TRUE(same_spectra(out.data(), model_out.data(), out.size()))
            << kind_note(kind, size);

        Spectrum bins = spectrum_of(kind, size / 2 + 1, random), model_bins = bins;
        Samples back = in, model_back = in;
        transform(state, as_floats(bins.data()), back.data(), kInverse);
        reference::do_fft(model, as_floats(model_bins.data()), model_back.data(), kInverse);
        ASSERT_TRUE(same_floats(back.data(), model_back.data(), count)) << kind_note(kind, size);
      }
      ASSERT_TRUE(same_floats(state->windowSqSum, model->windowSqSum, count));
      reference::fft_free(model);
    }
  }
}

}  // namespace
}  // namespace vekbf::test
