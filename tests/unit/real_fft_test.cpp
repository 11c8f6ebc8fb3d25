// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <vector>

#include "fft/fft_engine.h"
#include "fft/real_transform.h"
#include "fft/windowed_transform.h"
#include "reference/model.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/transforms.h"

namespace vekbf::test {
namespace {

// 32 has the 16-point complex transform.
constexpr int32_t kSizes[] = {32, 64, 128, 256, 512, 1024, 2048, 4096};

// Unit roundoff 6e-8; a dozen roundings per value, and those of the twiddles, add up like a random
// walk.
constexpr double kRmsError = 3e-7;

Spectrum forward(const Plan& plan, const Samples& in) {
  const size_t bins = in.size() / 2 + 1;
  Spectrum out(bins + 2, kUntouched);
  fft_real_forward(out.data() + 1, in.data(), plan.get());
  EXPECT_TRUE(is_untouched(out[0]) && is_untouched(out[bins + 1]));
  return {out.begin() + 1, out.end() - 1};
}

Samples inverse(const Plan& plan, const Spectrum& in, size_t size) {
  Samples out(size + 2, kUntouched.re);
  fft_real_inverse(out.data() + 1, in.data(), plan.get());
  EXPECT_EQ(out[0], kUntouched.re);
  EXPECT_EQ(out[size + 1], kUntouched.re);
  return {out.begin() + 1, out.end() - 1};
}

Samples random_samples(int32_t size, uint64_t seed) {
  Random random(seed);
  return samples_of(Kind::kSamples, size, random);
}

TEST(RealFft, ForwardIsTheDirectSum) {
  for (const int32_t size : kSizes) {
    if (size > 512) continue;
    const Samples in = random_samples(size, 1);
    const Spectrum out = forward(plan_for(size), in);
    EXPECT_LE(relative_error(out, direct_sum(exact(in), -1, out.size())), kRmsError) << size;
  }
}

TEST(RealFft, InverseIsTheDirectSumDividedBySize) {
  for (const int32_t size : kSizes) {
    if (size > 512) continue;
    Random random(2);
    const Spectrum in = spectrum_of(Kind::kSamples, size / 2 + 1, random);
    const auto count = static_cast<size_t>(size);
    const Samples out = inverse(plan_for(size), in, count);
    const std::vector<Exact> expected = direct_sum(whole_spectrum(in, count), 1, count);
    EXPECT_LE(relative_error(out, expected, 1.0L / size), kRmsError) << size;
  }
}

TEST(RealFft, TheRoundTripIsTheIdentity) {
  for (const int32_t size : kSizes) {
    const Plan plan = plan_for(size);
    for (uint64_t seed = 3; seed < 6; ++seed) {
      const Samples in = random_samples(size, seed);
      const Samples back = inverse(plan, forward(plan, in), in.size());
      EXPECT_LE(relative_error(back, exact(in)), kRmsError) << size;
    }
  }
}

TEST(RealFft, AnImpulseAtTheStartGivesAllBinsOneAndZero) {
  for (const int32_t size : kSizes) {
    Samples in(static_cast<size_t>(size));
    in[0] = 1.0f;
    for (const Complex c : forward(plan_for(size), in)) {
      ASSERT_EQ(c.re, 1.0f) << size;
      ASSERT_EQ(c.im, 0.0f) << size;
    }
  }
}

// Each value is a product of at most five rounded turns.
constexpr double kTurnError = 4e-6;

TEST(RealFft, AnImpulseAtEveryPositionTurnsWithTheBin) {
  for (const int32_t size : {32, 64, 512}) {
    const Plan plan = plan_for(size);
    std::vector<std::complex<double>> turns;
    for (int32_t i = 0; i < size; ++i) {
      turns.push_back(std::polar(1.0, -2 * std::numbers::pi * i / size));
    }
    for (int32_t p = 0; p < size; ++p) {
      Samples in(static_cast<size_t>(size));
      in[static_cast<size_t>(p)] = 1.0f;
      const Spectrum out = forward(plan, in);
      for (int32_t k = 0; k <= size / 2; ++k) {
        const std::complex<double> expected = turns[static_cast<size_t>(k * p % size)];
        ASSERT_NEAR(out[static_cast<size_t>(k)].re, expected.real(), kTurnError) << p << " " << k;
        ASSERT_NEAR(out[static_cast<size_t>(k)].im, expected.imag(), kTurnError) << p << " " << k;
      }
    }
  }
}

TEST(RealFft, AConstantFrameFillsBin0Only) {
  for (const int32_t size : kSizes) {
    const Samples in(static_cast<size_t>(size), 1.0f);
    const Spectrum out = forward(plan_for(size), in);
    EXPECT_EQ(out[0].re, static_cast<float>(size));
    EXPECT_EQ(out[0].im, 0.0f);
    for (size_t k = 1; k < out.size(); ++k) {
      ASSERT_EQ(out[k].re, 0.0f) << size << " " << k;
      ASSERT_EQ(out[k].im, 0.0f) << size << " " << k;
    }
  }
}

TEST(RealFft, EveryCosineFillsItsBin) {
  const int32_t size = 512;
  const Plan plan = plan_for(size);
  for (int32_t bin = 0; bin <= size / 2; ++bin) {
    Samples in;
    for (int32_t i = 0; i < size; ++i) {
      in.push_back(static_cast<float>(std::cos(2 * std::numbers::pi * (i * bin % size) / size)));
    }
    std::vector<Exact> expected(size / 2 + 1);
    expected[static_cast<size_t>(bin)] = bin == 0 || bin == size / 2 ? size : size / 2;
    ASSERT_LE(largest_error(forward(plan, in), expected), 2e-4) << bin;
  }
}

TEST(RealFft, TheInverseOfBin0AloneIsConstant) {
  for (const int32_t size : kSizes) {
    const auto count = static_cast<size_t>(size);
    Spectrum in(count / 2 + 1);
    in[0].re = static_cast<float>(size);
    for (const float x : inverse(plan_for(size), in, count)) ASSERT_EQ(x, 1.0f) << size;
  }
}

TEST(RealFft, TheInverseOfEverySingleBinIsItsCosine) {
  const int32_t size = 512;
  const Plan plan = plan_for(size);
  for (size_t bin = 0; bin <= size / 2; ++bin) {
    Spectrum in(size / 2 + 1);
    in[bin].re = size;
    const double height = bin == 0 || bin == size / 2 ? 1.0 : 2.0;
    std::vector<Exact> expected;
    for (size_t i = 0; i < size; ++i) {
      const double share = static_cast<double>(i * bin % size) / size;
      expected.emplace_back(height * std::cos(2 * std::numbers::pi * share));
    }
    ASSERT_LE(largest_error(inverse(plan, in, size), expected), 8e-6) << bin;
  }
}

TEST(RealFft, IsLinear) {
  for (const int32_t size : kSizes) {
    const Plan plan = plan_for(size);
    const Samples x = random_samples(size, 7), y = random_samples(size, 8);
    Samples sum(x.size());
    // Factors that are powers of two leave no rounding in the combined input.
    for (size_t i = 0; i < x.size(); ++i) sum[i] = 2.0f * x[i] - 0.5f * y[i];
    const std::vector<Exact> fx = exact(forward(plan, x)), fy = exact(forward(plan, y));
    std::vector<Exact> expected(fx.size());
    for (size_t k = 0; k < fx.size(); ++k) expected[k] = 2.0L * fx[k] - 0.5L * fy[k];
    EXPECT_LE(relative_error(forward(plan, sum), expected), 2 * kRmsError) << size;
  }
}

TEST(RealFft, AShiftInTimeTurnsTheSpectrum) {
  for (const int32_t size : kSizes) {
    const Plan plan = plan_for(size);
    const Samples x = random_samples(size, 9);
    const std::vector<Exact> fx = exact(forward(plan, x));
    for (const int32_t shift : {1, 3, size / 4, size - 1}) {
      Samples y(x.size());
      for (int32_t i = 0; i < size; ++i) {
        y[static_cast<size_t>((i + shift) % size)] = x[static_cast<size_t>(i)];
      }
      std::vector<Exact> expected(fx.size());
      for (size_t k = 0; k < fx.size(); ++k) {
        const auto turned = static_cast<int64_t>(k) * shift % size;
        const long double share = static_cast<long double>(turned) / size;
        expected[k] = fx[k] * std::polar(1.0L, -2 * std::numbers::pi_v<long double> * share);
      }
      EXPECT_LE(relative_error(forward(plan, y), expected), 2 * kRmsError) << size << " " << shift;
    }
  }
}

TEST(RealFft, ForwardWritesPlusZeroIntoTheImaginaryPartsOfTheOutermostBins) {
  for (const int32_t size : kSizes) {
    const Spectrum out = forward(plan_for(size), random_samples(size, 10));
    EXPECT_TRUE(same_bits(out.front().im, 0.0f)) << size;
    EXPECT_TRUE(same_bits(out.back().im, 0.0f)) << size;
  }
}

TEST(RealFft, InverseDoesNotReadTheImaginaryPartsOfTheOutermostBins) {
  for (const int32_t size : kSizes) {
    const Plan plan = plan_for(size);
    const auto count = static_cast<size_t>(size);
    Random random(11);
    Spectrum in = spectrum_of(Kind::kSamples, size / 2 + 1, random);
    in.front().im = in.back().im = 0.0f;
    const Samples expected = inverse(plan, in, count);
    in.front().im = std::numeric_limits<float>::quiet_NaN();
    in.back().im = -1e30f;
    const Samples out = inverse(plan, in, count);
    EXPECT_TRUE(same_floats(out.data(), expected.data(), count)) << size;
  }
}

TEST(RealFft, BothDirectionsLeaveTheirInputAlone) {
  for (const int32_t size : kSizes) {
    const Plan plan = plan_for(size);
    const Samples samples = random_samples(size, 12);
    Samples in = samples;
    const Spectrum bins = forward(plan, in);
    EXPECT_TRUE(same_floats(in.data(), samples.data(), samples.size())) << size;
    const Spectrum kept = bins;
    inverse(plan, bins, samples.size());
    EXPECT_TRUE(same_spectra(bins.data(), kept.data(), kept.size())) << size;
  }
}

// A plan is only read, but for its scratch: what it was used for before does not show.
TEST(RealFft, APlanRemembersNothing) {
  const Plan used = plan_for(512), fresh = plan_for(512);
  const Samples nothing_but_nan(512, std::numeric_limits<float>::quiet_NaN());
  inverse(used, forward(used, nothing_but_nan), 512);
  const Samples in = random_samples(512, 13);
  const Spectrum out = forward(used, in), expected = forward(fresh, in);
  EXPECT_TRUE(same_spectra(out.data(), expected.data(), out.size()));
  const Samples back = inverse(used, out, 512), expected_back = inverse(fresh, out, 512);
  EXPECT_TRUE(same_floats(back.data(), expected_back.data(), back.size()));
  EXPECT_TRUE(same_spectra(used->twiddles, fresh->twiddles, 256));
  EXPECT_TRUE(same_spectra(used->superTwiddles, fresh->superTwiddles, 128));
}

TEST(RealFft, UnsupportedSizesWriteNothing) {
  std::vector<int32_t> sizes;
  for (int32_t size = 2; size <= 600; ++size) {
    const int32_t ncfft = size / 2;
    if (ncfft < 16 || (ncfft & (ncfft - 1)) != 0) sizes.push_back(size);
  }
  sizes.insert(sizes.end(), {768, 960, 1000, 1022, 1026, 4094});
  for (const int32_t size : sizes) {
    const Plan plan = plan_for(size);
    ASSERT_NE(plan, nullptr) << size;
    const auto count = static_cast<size_t>(size);
    for (const Complex c : forward(plan, random_samples(size, 14))) {
      ASSERT_TRUE(is_untouched(c)) << size;
    }
    for (const float x : inverse(plan, Spectrum(count / 2 + 1), count)) {
      ASSERT_EQ(x, kUntouched.re) << size;
    }
  }
}

TEST(RealFft, WithoutAPlanNothingIsWritten) {
  for (const Complex c : forward(nullptr, Samples(32))) EXPECT_TRUE(is_untouched(c));
  for (const float x : inverse(nullptr, Spectrum(17), 32)) EXPECT_EQ(x, kUntouched.re);
}

TEST(RealFft, OfAnOddNumberOfSamplesTheLastIsIgnored) {
  for (const int32_t size : {32, 64, 512}) {
    const Plan odd = plan_for(size + 1), even = plan_for(size);
    Samples in = random_samples(size, 15);
    const Spectrum expected = forward(even, in);
    in.push_back(std::numeric_limits<float>::quiet_NaN());
    const Spectrum out = forward(odd, in);
    ASSERT_EQ(out.size(), expected.size());
    EXPECT_TRUE(same_spectra(out.data(), expected.data(), out.size())) << size;
    const Samples back = inverse(odd, out, in.size());
    const Samples expected_back = inverse(even, out, in.size() - 1);
    EXPECT_TRUE(same_floats(back.data(), expected_back.data(), expected_back.size())) << size;
    EXPECT_EQ(back.back(), kUntouched.re) << size;
  }
}

TEST(RealFft, EqualsThePlainModelBitForBit) {
  const uint64_t seed = test_seed(16);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (const int32_t size : kSizes) {
    const Plan plan = plan_for(size);
    const Plan model_plan(reference::fft_plan_alloc(size));
    const auto count = static_cast<size_t>(size);
    for (const Kind kind : kKinds) {
      for (int round = 0; round < (size > 512 ? 1 : 3); ++round) {
        const Samples in = samples_of(kind, size, random);
        const Spectrum out = forward(plan, in);
        Spectrum model(out.size());
        reference::fft_real_forward(model.data(), in.data(), model_plan.get());
        ASSERT_TRUE(same_spectra(out.data(), model.data(), out.size())) << kind_note(kind, size);

        const Spectrum bins = spectrum_of(kind, size / 2 + 1, random);
        const Samples back = inverse(plan, bins, count);
        Samples model_back(count);
        reference::fft_real_inverse(model_back.data(), bins.data(), model_plan.get());
        ASSERT_TRUE(same_floats(back.data(), model_back.data(), count)) << kind_note(kind, size);
      }
    }
  }
}

template <class V>
class RealFftOf : public ::testing::Test {};
TYPED_TEST_SUITE(RealFftOf, AllLaneTypes, LaneTypeNames);

TYPED_TEST(RealFftOf, EveryNumberOfLanesAndBackendGivesTheSameBits) {
  using V = TypeParam;
  const uint64_t seed = test_seed(17);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (const int32_t size : kSizes) {
    if (size / 2 < fft::kFewestPoints<V>) continue;
    const Plan plan = plan_for(size);
    const auto count = static_cast<size_t>(size);
    const auto half = count / 2;
    const Samples window = samples_of(Kind::kSamples, size, random);
    for (const Kind kind : kKinds) {
      SCOPED_TRACE(kind_note(kind, size));
      const Samples in = samples_of(kind, size, random);
      Samples kept(count), portable_kept(count);
      Spectrum out(half + 1), portable(half + 1);
      fft::real_forward<V>(out.data(), fft::WindowedInput{in.data(), window.data(), kept.data()},
                           *plan);
      fft::real_forward<PortableF32x4>(
          portable.data(), fft::WindowedInput{in.data(), window.data(), portable_kept.data()},
          *plan);
      ASSERT_TRUE(same_spectra(out.data(), portable.data(), half + 1));
      ASSERT_TRUE(same_floats(kept.data(), portable_kept.data(), count));

      const Spectrum bins = spectrum_of(kind, size / 2 + 1, random);
      fft::real_inverse<V>(fft::WindowedOutput{kept.data(), window.data()}, bins.data(), *plan);
      fft::real_inverse<PortableF32x4>(fft::WindowedOutput{portable_kept.data(), window.data()},
                                       bins.data(), *plan);
      ASSERT_TRUE(same_floats(kept.data(), portable_kept.data(), count));
      fft::real_inverse<V>(fft::Output{out.data()}, bins.data(), *plan);
      fft::real_inverse<PortableF32x4>(fft::Output{portable.data()}, bins.data(), *plan);
      ASSERT_TRUE(same_spectra(out.data(), portable.data(), half));
    }
  }
}

// The window multiplied in on the way is the window multiplied in before or after.
TEST(WindowedFft, EqualsALoopOverTheSamplesBitForBit) {
  const uint64_t seed = test_seed(18);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (const int32_t size : kSizes) {
    const Plan plan = plan_for(size);
    const auto count = static_cast<size_t>(size);
    for (const Kind kind : kKinds) {
      const Samples window = samples_of(Kind::kSamples, size, random);
      const Samples in = samples_of(kind, size, random);
      Samples windowed(count), kept(count);
      for (size_t i = 0; i < count; ++i) windowed[i] = in[i] * window[i];
      const Spectrum expected = forward(plan, windowed);
      Spectrum out(count / 2 + 1);
      EXPECT_TRUE(
          fft::windowed_forward(out.data(), in.data(), kept.data(), window.data(), plan.get()));
      ASSERT_TRUE(same_floats(kept.data(), windowed.data(), count)) << kind_note(kind, size);
      ASSERT_TRUE(same_spectra(out.data(), expected.data(), out.size())) << kind_note(kind, size);

      const Spectrum bins = spectrum_of(kind, size / 2 + 1, random);
      Samples back = inverse(plan, bins, count);
      for (size_t i = 0; i < count; ++i) back[i] = back[i] * window[i];
      Samples samples(count);
      EXPECT_TRUE(fft::windowed_inverse(samples.data(), bins.data(), window.data(), plan.get()));
      ASSERT_TRUE(same_floats(samples.data(), back.data(), count)) << kind_note(kind, size);
    }
  }
}

TEST(WindowedFft, RefusesWhatCannotBeTransformedAndWritesNothing) {
  const Plan plan = plan_for(20);
  const RealFftPlan* const unusable_plans[] = {nullptr, plan.get()};
  for (const RealFftPlan* unusable : unusable_plans) {
    const Samples window(20, 0.5f);
    Samples samples(20, 3.0f);
    Spectrum bins(11, kUntouched);
    EXPECT_FALSE(fft::windowed_forward(bins.data(), samples.data(), samples.data(), window.data(),
                                       unusable));
    EXPECT_FALSE(fft::windowed_inverse(samples.data(), bins.data(), window.data(), unusable));
    for (const float x : samples) EXPECT_EQ(x, 3.0f);
    for (const Complex c : bins) EXPECT_TRUE(is_untouched(c));
  }
}

}  // namespace
}  // namespace vekbf::test
