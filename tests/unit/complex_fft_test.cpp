// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numbers>
#include <utility>
#include <vector>

#include "fft/complex_transform.h"
#include "fft/fft_engine.h"
#include "reference/model.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/transforms.h"

namespace vekbf::test {
namespace {

constexpr int32_t kSizes[] = {16, 32, 64, 128, 256, 512, 1024, 2048};

// Unit roundoff 6e-8; a dozen roundings per value, and those of the twiddles, add up like a random
// walk.
constexpr double kRmsError = 3e-7;

// Guards around `out` and `buffer`; `in` is compared afterwards by whoever needs it.
Spectrum transform(const Plan& plan, const Spectrum& in, int32_t inverse) {
  const size_t n = in.size();
  Spectrum out(n + 2, kUntouched), work(n + 2, kUntouched);
  const ComplexFftConfig config = {plan->ncfft, plan->factors, plan->twiddles, work.data() + 1};
  fft_complex(out.data() + 1, in.data(), &config, inverse);
  EXPECT_TRUE(is_untouched(out[0]) && is_untouched(out[n + 1]));
  EXPECT_TRUE(is_untouched(work[0]) && is_untouched(work[n + 1]));
  return {out.begin() + 1, out.end() - 1};
}

Spectrum random_input(int32_t n, uint64_t seed) {
  Random random(seed);
  return spectrum_of(Kind::kSamples, n, random);
}

Complex turn(double share) {
  const double phase = 2 * std::numbers::pi * share;
  return {static_cast<float>(std::cos(phase)), static_cast<float>(std::sin(phase))};
}

TEST(ComplexFft, ForwardIsTheDirectSum) {
  for (const int32_t n : kSizes) {
    if (n > 512) continue;
    const Spectrum in = random_input(n, 1);
    const Spectrum out = transform(plan_for(2 * n), in, 0);
    EXPECT_LE(relative_error(out, direct_sum(exact(in), -1, in.size())), kRmsError) << n;
  }
}

TEST(ComplexFft, InverseIsTheDirectSumDividedBySize) {
  for (const int32_t n : kSizes) {
    if (n > 512) continue;
    const Spectrum in = random_input(n, 2);
    for (const int32_t inverse : {1, -1, 256}) {  // any nonzero value
      const Spectrum out = transform(plan_for(2 * n), in, inverse);
      EXPECT_LE(relative_error(out, direct_sum(exact(in), 1, in.size()), 1.0L / n), kRmsError) << n;
    }
  }
}

TEST(ComplexFft, ForwardThenInverseReturnsTheInput) {
  for (const int32_t n : kSizes) {
    const Plan plan = plan_for(2 * n);
    const Spectrum in = random_input(n, 3);
    const Spectrum back = transform(plan, transform(plan, in, 0), 1);
    EXPECT_LE(relative_error(back, exact(in)), kRmsError) << n;
  }
}

// At position p the spectrum is exp(-2 pi i k p / n); each value passes one product with at most
// four rounded twiddles.
constexpr double kTurnError = 3e-6;

TEST(ComplexFft, AnImpulseAtEveryPosition) {
  for (const int32_t n : {16, 32, 128, 256}) {
    const Plan plan = plan_for(2 * n);
    for (int32_t p = 0; p < n; ++p) {
      Spectrum in(static_cast<size_t>(n));
      in[static_cast<size_t>(p)] = {1.0f, 0.0f};
      const Spectrum out = transform(plan, in, 0);
      for (int32_t k = 0; k < n; ++k) {
        const Complex expected = turn(-static_cast<double>(k * p % n) / n);
        ASSERT_NEAR(out[static_cast<size_t>(k)].re, expected.re, kTurnError) << n << " " << p << k;
        ASSERT_NEAR(out[static_cast<size_t>(k)].im, expected.im, kTurnError) << n << " " << p << k;
      }
    }
  }
}

TEST(ComplexFft, AnImpulseAtTheStartIsExactlyFlat) {
  for (const int32_t n : kSizes) {
    Spectrum in(static_cast<size_t>(n));
    in[0] = {3.0f, -7.0f};
    for (const Complex c : transform(plan_for(2 * n), in, 0)) {
      ASSERT_EQ(c.re, 3.0f) << n;
      ASSERT_EQ(c.im, -7.0f) << n;
    }
  }
}

TEST(ComplexFft, EveryRotationFillsASingleBin) {
  for (const int32_t n : {16, 32, 128, 256}) {
    const Plan plan = plan_for(2 * n);
    for (int32_t bin = 0; bin < n; ++bin) {
      Spectrum in(static_cast<size_t>(n));
      for (int32_t i = 0; i < n; ++i) {
        in[static_cast<size_t>(i)] = turn(static_cast<double>(i * bin % n) / n);
      }
      std::vector<Exact> expected(static_cast<size_t>(n));
      expected[static_cast<size_t>(bin)] = n;
      ASSERT_LE(largest_error(transform(plan, in, 0), expected), n * 1e-6) << n << " " << bin;
    }
  }
}

TEST(ComplexFft, IsLinear) {
  for (const int32_t n : kSizes) {
    const Plan plan = plan_for(2 * n);
    const Spectrum x = random_input(n, 4), y = random_input(n, 5);
    Spectrum sum(x.size());
    // Factors that are powers of two leave no rounding in the combined input.
    for (size_t i = 0; i < x.size(); ++i) {
      sum[i] = {2.0f * x[i].re + 0.5f * y[i].re, 2.0f * x[i].im + 0.5f * y[i].im};
    }
    const std::vector<Exact> fx = exact(transform(plan, x, 0)), fy = exact(transform(plan, y, 0));
    std::vector<Exact> expected(x.size());
    for (size_t i = 0; i < x.size(); ++i) expected[i] = 2.0L * fx[i] + 0.5L * fy[i];
    EXPECT_LE(relative_error(transform(plan, sum, 0), expected), 2 * kRmsError) << n;
  }
}

TEST(ComplexFft, AShiftInTimeTurnsTheSpectrum) {
  for (const int32_t n : kSizes) {
    const Plan plan = plan_for(2 * n);
    const Spectrum x = random_input(n, 6);
    const std::vector<Exact> fx = exact(transform(plan, x, 0));
    for (const int32_t shift : {1, 5, n / 2, n - 1}) {
      Spectrum y(x.size());
      std::vector<Exact> expected(x.size());
      for (int32_t i = 0; i < n; ++i) {
        const auto at = static_cast<size_t>(i);
        y[static_cast<size_t>((i + shift) % n)] = x[at];
        const long double share = static_cast<long double>(i * shift % n) / n;
        expected[at] = fx[at] * std::polar(1.0L, -2 * std::numbers::pi_v<long double> * share);
      }
      EXPECT_LE(relative_error(transform(plan, y, 0), expected), 2 * kRmsError)
          << n << " " << shift;
    }
  }
}

TEST(ComplexFft, LeavesItsInputAlone) {
  for (const int32_t n : kSizes) {
    const Spectrum kept = random_input(n, 7);
    const Spectrum in = kept;
    transform(plan_for(2 * n), in, 0);
    transform(plan_for(2 * n), in, 1);
    EXPECT_TRUE(same_spectra(in.data(), kept.data(), kept.size())) << n;
  }
}

TEST(ComplexFft, UnsupportedSizesWriteNothing) {
  std::vector<int32_t> sizes;
  for (int32_t n = 1; n <= 300; ++n) {
    if (n < 16 || (n & (n - 1)) != 0) sizes.push_back(n);
  }
  sizes.insert(sizes.end(), {384, 480, 500, 1000, 1023, 1025});
  for (const int32_t n : sizes) {
    const Plan plan = plan_for(2 * n);
    const Spectrum in = random_input(n, 8);
    for (const int32_t inverse : {0, 1}) {
      for (const Complex c : transform(plan, in, inverse)) ASSERT_TRUE(is_untouched(c)) << n;
    }
  }
}

TEST(ComplexFft, SizesBelowOneWriteNothing) {
  const Plan plan = plan_for(512);
  for (const int32_t n : {0, -1, -16, -256, INT32_MIN}) {
    ComplexFftConfig config = config_of(plan);
    config.nfft = n;
    Complex in = {1.0f, 1.0f}, out = kUntouched;
    fft_complex(&out, &in, &config, 0);
    fft_complex(&out, &in, &config, 1);
    EXPECT_TRUE(is_untouched(out)) << n;
  }
}

TEST(ComplexFft, ListsOfOtherRadicesAndMissingPartsWriteNothing) {
  const Plan plan = plan_for(512);
  const Spectrum in = random_input(256, 9);
  Spectrum out(256, kUntouched);
  int32_t list[kFactorSlots];

  ComplexFftConfig config = config_of(plan);
  config.factors = list;
  for (const int32_t listed : {1, 2, 16, 64, 128, 240, 243, 1024}) {  // not the config's size
    ASSERT_EQ(fft_factor(listed, list, 1), 0);
    fft_complex(out.data(), in.data(), &config, 0);
  }
  ASSERT_EQ(fft_factor(256, list, 2), 0);  // radix 8 at the start of the list
  fft_complex(out.data(), in.data(), &config, 0);
  // A product of 256 too, by two radices of 4 and one of 16.
  const int32_t sixteen[] = {3, 64, 4, 64, 4, 16, 16, 1, 1};
  std::copy(std::begin(sixteen), std::end(sixteen), list);
  fft_complex(out.data(), in.data(), &config, 0);
  for (const int32_t stages : {-1, 0, 1, 64, INT32_MAX}) {
    ASSERT_EQ(fft_factor(256, list, 1), 0);
    list[0] = stages;
    fft_complex(out.data(), in.data(), &config, 1);
  }

  config = config_of(plan);
  config.factors = nullptr;
  fft_complex(out.data(), in.data(), &config, 0);
  config = config_of(plan);
  config.twiddles = nullptr;
  fft_complex(out.data(), in.data(), &config, 1);
  fft_complex(out.data(), in.data(), nullptr, 0);
  for (const Complex c : out) ASSERT_TRUE(is_untouched(c));
}

TEST(ComplexFft, SixteenPointsNeedNoPlan) {
  const Spectrum in = random_input(16, 10);
  Spectrum out(16), work(16);
  const ComplexFftConfig config = {16, nullptr, nullptr, work.data()};
  fft_complex(out.data(), in.data(), &config, 0);
  EXPECT_LE(relative_error(out, direct_sum(exact(in), -1, 16)), kRmsError);
}

// The inverse of 16 points multiplies by 0.0625, which is exact: it is the forward transform of
// the exchanged parts, bit for bit.
TEST(ComplexFft, TheInverseIsTheForwardTransformWithItsPartsExchanged) {
  for (const int32_t n : kSizes) {
    const Plan plan = plan_for(2 * n);
    Spectrum in = random_input(n, 11);
    const Spectrum inverse = transform(plan, in, 1);
    for (Complex& c : in) std::swap(c.re, c.im);
    Spectrum forward = transform(plan, in, 0);
    const float gain = 1.0f / static_cast<float>(n);
    for (Complex& c : forward) c = {c.im * gain, c.re * gain};
    EXPECT_TRUE(same_spectra(inverse.data(), forward.data(), forward.size())) << n;
  }
}

TEST(ComplexFft, EqualsThePlainModelBitForBit) {
  const uint64_t seed = test_seed(12);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (const int32_t n : kSizes) {
    const Plan plan = plan_for(2 * n);
    const ComplexFftConfig config = config_of(plan);
    for (const Kind kind : kKinds) {
      for (int round = 0; round < (n > 256 ? 1 : 3); ++round) {
        const Spectrum in = spectrum_of(kind, n, random);
        for (const int32_t inverse : {0, 1}) {
          const Spectrum out = transform(plan, in, inverse);
          Spectrum model(in.size());
          reference::fft_complex(model.data(), in.data(), &config, inverse);
          ASSERT_TRUE(same_spectra(out.data(), model.data(), out.size()))
              << kind_note(kind, n) << " inverse " << inverse;
        }
      }
    }
  }
}

template <class V>
Spectrum transform_of(const Plan& plan, const Spectrum& in, bool inverse) {
  Spectrum out(in.size()), work(in.size());
  if (inverse) {
    fft::complex_inverse<V>(out.data(), in.data(), work.data(), plan->twiddles, plan->ncfft);
  } else {
    fft::complex_forward<V>(out.data(), in.data(), work.data(), plan->twiddles, plan->ncfft);
  }
  return out;
}

template <class V>
class ComplexFftOf : public ::testing::Test {};
TYPED_TEST_SUITE(ComplexFftOf, AllLaneTypes, LaneTypeNames);

TYPED_TEST(ComplexFftOf, EveryNumberOfLanesAndBackendGivesTheSameBits) {
  const uint64_t seed = test_seed(13);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  for (const int32_t n : kSizes) {
    if (n < fft::kFewestPoints<TypeParam>) continue;
    const Plan plan = plan_for(2 * n);
    for (const Kind kind : kKinds) {
      const Spectrum in = spectrum_of(kind, n, random);
      for (const bool inverse : {false, true}) {
        const Spectrum out = transform_of<TypeParam>(plan, in, inverse);
        const Spectrum portable = transform_of<PortableF32x4>(plan, in, inverse);
        ASSERT_TRUE(same_spectra(out.data(), portable.data(), in.size()))
            << kind_note(kind, n) << " inverse " << inverse;
      }
    }
  }
}

}  // namespace
}  // namespace vekbf::test
