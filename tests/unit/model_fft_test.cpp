// SPDX-License-Identifier: MIT
//
// The plain model's transform, against direct sums in double precision and known values.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "reference/model.h"
#include "support/model_states.h"
#include "support/random.h"

namespace {

using vekbf::kBinCount;
using vekbf::kFrameSize;
using vekbf::test::front_end;
using vekbf::test::plan_of;
using vekbf::test::Random;

constexpr double kPi = 3.14159265358979323846;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

ComplexFftConfig config_of(RealFftPlan& plan) {
  return {plan.ncfft, plan.factors, plan.twiddles, plan.buffer + plan.ncfft};
}

// The transform by its definition, in double precision; sign -1 forward, +1 inverse (unscaled).
std::vector<std::complex<double>> direct_sum(const std::vector<std::complex<double>>& x,
                                             double sign) {
  const size_t n = x.size();
  std::vector<std::complex<double>> turns(n);
  for (size_t i = 0; i < n; ++i) {
    turns[i] = std::polar(1.0, sign * 2 * kPi * static_cast<double>(i) / static_cast<double>(n));
  }
  std::vector<std::complex<double>> y(n);
  for (size_t k = 0; k < n; ++k) {
    for (size_t i = 0; i < n; ++i) y[k] += x[i] * turns[i * k % n];
  }
  return y;
}

// Single precision has a unit roundoff of 6e-8; the errors of some ten roundings per value add up
// like a random walk.
constexpr double kTransformError = 3e-7;

double relative_error(const Complex* actual, const std::vector<std::complex<double>>& expected,
                      size_t count) {
  double error = 0;
  double size = 0;
  for (size_t k = 0; k < count; ++k) {
    error += std::norm(std::complex<double>(actual[k].re, actual[k].im) - expected[k]);
    size += std::norm(expected[k]);
  }
  return std::sqrt(error / size);
}

TEST(ModelFactors, KnownLists) {
  int32_t list[kFactorSlots];
  const auto factor = [&](int32_t n) {
    std::memset(list, 0x55, sizeof list);
    return reference::fft_factor(n, list, 1);
  };
  const auto begins = [&](std::vector<int32_t> expected) {
    return std::vector<int32_t>(list, list + expected.size()) == expected;
  };
  ASSERT_EQ(0, factor(256));
  EXPECT_TRUE(begins({4, 64, 4, 64, 4, 16, 4, 4, 4, 1, 0}));
  ASSERT_EQ(0, factor(24));
  EXPECT_TRUE(begins({2, 3, 3, 8, 8, 1, 1}));
  ASSERT_EQ(0, factor(40));
  EXPECT_TRUE(begins({2, 5, 5, 8, 8, 1, 1}));
  ASSERT_EQ(0, factor(7));
  EXPECT_TRUE(begins({1, 1, 7, 1, 1}));
  ASSERT_EQ(0, factor(32));
  EXPECT_TRUE(begins({2, 4, 4, 8, 8, 1, 0}));
  ASSERT_EQ(0, factor(1));
  EXPECT_TRUE(begins({0, 1, 0}));
  EXPECT_EQ(-1, factor(0));
  EXPECT_EQ(-1, factor(-4));
  EXPECT_EQ(-1, reference::fft_factor(16, nullptr, 1));
}

TEST(ModelFactors, SecondFlagTakesEightWhereverItDivides) {
  int32_t list[kFactorSlots] = {};
  ASSERT_EQ(0, reference::fft_factor(64, list, 2));
  EXPECT_EQ(2, list[0]);
  EXPECT_EQ(8, list[2]);
  EXPECT_EQ(8, list[4]);
  ASSERT_EQ(0, reference::fft_factor(8, list, 0));
  EXPECT_EQ(4, list[2]);
  EXPECT_EQ(2, list[4]);
}

TEST(ModelPlan, StageTwiddlesAreTheTurnsOfTheirStage) {
  const auto plan = plan_of(512);
  ASSERT_NE(nullptr, plan);
  const Complex* line = plan->twiddles;
  for (const int m : {4, 16, 64}) {
    for (int q = 1; q < 4; ++q) {
      for (int j = 0; j < m; ++j) {
        const double angle = -2 * kPi * q * j / (4 * m);
        // The phases are single precision: up to 2.5e-7 off at four and a half radians.
        EXPECT_NEAR(std::cos(angle), static_cast<double>(line[(q - 1) * m + j].re), 6e-7);
        EXPECT_NEAR(std::sin(angle), static_cast<double>(line[(q - 1) * m + j].im), 6e-7);
      }
    }
    line += 3 * m;
  }
  EXPECT_EQ(plan->twiddles + 252, line);
}

TEST(ModelPlan, SplitTwiddlesStartAQuarterTurnOn) {
  const auto plan = plan_of(512);
  ASSERT_NE(nullptr, plan);
  for (int k = 1; k <= 128; ++k) {
    const double angle = -2 * kPi * k / 512 - kPi / 2;
    EXPECT_NEAR(std::cos(angle), static_cast<double>(plan->superTwiddles[k - 1].re), 4e-7);
    EXPECT_NEAR(std::sin(angle), static_cast<double>(plan->superTwiddles[k - 1].im), 4e-7);
  }
}

TEST(ModelPlan, NoneBelowTwoPoints) {
  EXPECT_EQ(nullptr, reference::fft_plan_alloc(1));
  EXPECT_EQ(nullptr, reference::fft_plan_alloc(0));
  EXPECT_EQ(nullptr, reference::fft_plan_alloc(-512));
  EXPECT_NE(nullptr, plan_of(2));
}

TEST(ModelComplexFft, EqualsTheDirectSumInBothDirections) {
  for (const int n : {16, 32, 64, 128, 256, 512}) {
    Random random(static_cast<uint64_t>(n));
    std::vector<Complex> in(static_cast<size_t>(n));
    std::vector<Complex> out(in.size());
    std::vector<std::complex<double>> x(in.size());
    for (size_t i = 0; i < in.size(); ++i) {
      in[i] = {random.unit(), random.unit()};
      x[i] = {in[i].re, in[i].im};
    }
    const auto plan = plan_of(2 * n);
    const ComplexFftConfig config = config_of(*plan);
    reference::fft_complex(out.data(), in.data(), &config, 0);
    EXPECT_LT(relative_error(out.data(), direct_sum(x, -1), out.size()), kTransformError) << n;
    reference::fft_complex(out.data(), in.data(), &config, 1);
    auto expected = direct_sum(x, 1);
    for (auto& value : expected) value /= n;
    EXPECT_LT(relative_error(out.data(), expected, out.size()), kTransformError) << n;
  }
}

TEST(ModelComplexFft, WritesNothingAtOtherSizes) {
  for (const int n : {1, 2, 3, 4, 8, 14, 15, 20, 24, 40, 48, 96, 160}) {
    const auto plan = plan_of(2 * n);
    ASSERT_NE(nullptr, plan);
    std::vector<Complex> in(static_cast<size_t>(n) + 1, Complex{1.0f, 2.0f});
    std::vector<Complex> out(in.size(), Complex{7.0f, 7.0f});
    std::vector<float> samples(2 * in.size(), 7.0f);
    const ComplexFftConfig config = config_of(*plan);
    reference::fft_complex(out.data(), in.data(), &config, 0);
    reference::fft_real_forward(out.data(), samples.data(), plan.get());
    reference::fft_real_inverse(samples.data(), in.data(), plan.get());
    for (const Complex& value : out) EXPECT_TRUE(value.re == 7.0f && value.im == 7.0f) << n;
    for (const float value : samples) EXPECT_EQ(7.0f, value) << n;
  }
}

TEST(ModelRealFft, EqualsTheDirectSumAndComesBack) {
  for (const int n : {32, 64, 128, 256, 512, 1024}) {
    Random random(static_cast<uint64_t>(n));
    std::vector<float> in(static_cast<size_t>(n));
    std::vector<std::complex<double>> x(in.size());
    for (size_t i = 0; i < in.size(); ++i) {
      in[i] = static_cast<float>(random.sample());
      x[i] = static_cast<double>(in[i]);
    }
    const size_t bins = in.size() / 2 + 1;
    std::vector<Complex> out(bins);
    const auto plan = plan_of(n);
    reference::fft_real_forward(out.data(), in.data(), plan.get());
    EXPECT_LT(relative_error(out.data(), direct_sum(x, -1), bins), kTransformError) << n;
    EXPECT_EQ(0.0f, out[0].im);
    EXPECT_EQ(0.0f, out[bins - 1].im);

    out[0].im = out[bins - 1].im = kNan;  // not read
    std::vector<float> back(in.size());
    reference::fft_real_inverse(back.data(), out.data(), plan.get());
    double error = 0;
    double size = 0;
    for (size_t i = 0; i < in.size(); ++i) {
      error += std::pow(static_cast<double>(back[i]) - static_cast<double>(in[i]), 2);
      size += std::pow(static_cast<double>(in[i]), 2);
    }
    EXPECT_LT(std::sqrt(error / size), kTransformError) << n;
  }
}

TEST(ModelRealFft, ImpulseConstantAndSingleBin) {
  const auto plan = plan_of(512);
  std::vector<float> samples(512, 0.0f);
  std::vector<Complex> bins(kBinCount);
  samples[0] = 1.0f;
  reference::fft_real_forward(bins.data(), samples.data(), plan.get());
  for (const Complex& bin : bins) {
    EXPECT_EQ(1.0f, bin.re);
    EXPECT_EQ(0.0f, bin.im);
  }
  samples.assign(512, 1.0f);
  reference::fft_real_forward(bins.data(), samples.data(), plan.get());
  EXPECT_EQ(512.0f, bins[0].re);
  for (size_t k = 1; k < bins.size(); ++k) {
    EXPECT_EQ(0.0f, bins[k].re) << k;
    EXPECT_EQ(0.0f, bins[k].im) << k;
  }
  bins.assign(kBinCount, Complex{0.0f, 0.0f});
  bins[0].re = 512.0f;
  reference::fft_real_inverse(samples.data(), bins.data(), plan.get());
  for (const float sample : samples) EXPECT_EQ(1.0f, sample);
}

TEST(ModelWindow, PeriodicAndSymmetricHamming) {
  const auto periodic = front_end(1);
  EXPECT_EQ(0.08f, periodic->window[0]);
  EXPECT_EQ(1.0f, periodic->window[256]);
  EXPECT_FLOAT_EQ(0.54f, periodic->window[128]);
  double sum = 0;
  double squares = 0;
  for (int i = 0; i < kFrameSize; ++i) {
    sum += static_cast<double>(periodic->window[i]);
    squares += static_cast<double>(periodic->windowSq[i]);
    EXPECT_EQ(periodic->window[i] * periodic->window[i], periodic->windowSq[i]);
    EXPECT_EQ(0.0f, periodic->windowSqSum[i]);
  }
  EXPECT_NEAR(0.54 * 512, sum, 1e-5);
  EXPECT_NEAR((0.54 * 0.54 + 0.46 * 0.46 / 2) * 512, squares, 1e-4);

  const auto symmetric = front_end(1, 512, 1);
  EXPECT_EQ(0.08f, symmetric->window[0]);
  EXPECT_FLOAT_EQ(0.08f, symmetric->window[511]);
  EXPECT_FLOAT_EQ(symmetric->window[100], symmetric->window[411]);
}

TEST(ModelWindow, OtherShapes) {
  const auto hann = front_end(2);
  EXPECT_EQ(0.0f, hann->window[0]);
  EXPECT_EQ(1.0f, hann->window[256]);
  EXPECT_FLOAT_EQ(0.5f, hann->window[128]);
  for (const int32_t symmetric : {0, 1}) {
    const auto powered = front_end(0, 513, symmetric);  // 512 steps whatever the flag says
    EXPECT_EQ(0.0f, powered->window[0]);
    EXPECT_EQ(1.0f, powered->window[256]);
    EXPECT_FLOAT_EQ(static_cast<float>(std::pow(0.5, 0.85)), powered->window[128]);
  }
  const auto flat = front_end(3);
  const auto unknown = front_end(7);
  EXPECT_EQ(1, unknown->initFlag);
  for (int i = 0; i < kFrameSize; ++i) {
    EXPECT_EQ(1.0f, flat->window[i]);
    EXPECT_EQ(0.0f, unknown->window[i]);
    EXPECT_EQ(0.0f, unknown->windowSq[i]);
  }
}

TEST(ModelFrontEnd, WindowsTwiceAndCountsInverseTransforms) {
  const auto state = front_end(1);
  std::vector<float> in(kFrameSize);
  std::vector<float> spectrum(2 * kBinCount);
  std::vector<float> out(kFrameSize);
  Random random(3);
  for (float& sample : in) sample = static_cast<float>(random.sample());
  const std::vector<float> original = in;
  reference::do_fft(state.get(), in.data(), spectrum.data(), kForward);
  EXPECT_EQ(0.0f, state->windowSqSum[256]);
  for (size_t i = 0; i < in.size(); ++i) EXPECT_EQ(original[i] * state->window[i], in[i]);
  reference::do_fft(state.get(), spectrum.data(), out.data(), kInverse);
  reference::do_fft(state.get(), spectrum.data(), out.data(), kInverse);
  for (size_t i = 0; i < in.size(); ++i) {
    EXPECT_NEAR(in[i] * state->window[i], out[i], 0.03f);  // some units of 32768 * 2^-24
    EXPECT_EQ(state->windowSq[i] + state->windowSq[i], state->windowSqSum[i]);
  }
}

TEST(ModelFrontEnd, ForwardOfOnesIsTheWindowSum) {
  const auto state = front_end(1);
  std::vector<float> in(kFrameSize, 1.0f);
  std::vector<float> spectrum(2 * kBinCount);
  reference::do_fft(state.get(), in.data(), spectrum.data(), kForward);
  EXPECT_NEAR(276.48f, spectrum[0], 1e-4f);
  EXPECT_NEAR(-0.23f * 512, spectrum[2], 1e-4f);  // half of the cosine's amplitude
  EXPECT_EQ(0.0f, spectrum[1]);
  EXPECT_EQ(0.0f, spectrum[2 * kBinCount - 1]);
}

TEST(ModelFrontEnd, RefusalsWriteNothing) {
  const auto state = front_end(1);
  std::vector<float> in(2 * kBinCount, 3.0f);
  std::vector<float> out(2 * kBinCount, 7.0f);
  for (const int32_t direction : {0, 2, -2}) {
    reference::do_fft(state.get(), in.data(), out.data(), direction);
  }
  reference::do_fft(nullptr, in.data(), out.data(), kForward);
  state->initFlag = 2;
  reference::do_fft(state.get(), in.data(), out.data(), kForward);
  reference::do_fft(state.get(), in.data(), out.data(), kInverse);
  for (const float value : in) EXPECT_EQ(3.0f, value);
  for (const float value : out) EXPECT_EQ(7.0f, value);
  EXPECT_EQ(nullptr, reference::fft_init(nullptr));
}

}  // namespace
