// SPDX-License-Identifier: MIT
//
// What the tests of the transform share: the transform by its definition in higher precision, plans
// that release themselves, and input of many kinds.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "base/complex.h"
#include "fft/fft_engine.h"
#include "support/random.h"

namespace vekbf::test {

using Exact = std::complex<long double>;
using Spectrum = std::vector<Complex>;
using Samples = std::vector<float>;

// The sum over n of x[n] exp(sign 2 pi i k n / N), for k from 0 to bins-1.
inline std::vector<Exact> direct_sum(const std::vector<Exact>& x, int sign, size_t bins) {
  const size_t size = x.size();
  std::vector<Exact> turns(size);
  for (size_t i = 0; i < size; ++i) {
    const long double turn = static_cast<long double>(i) / static_cast<long double>(size);
    turns[i] = std::polar(1.0L, sign * 2 * std::numbers::pi_v<long double> * turn);
  }
  std::vector<Exact> y(bins);
  for (size_t k = 0; k < bins; ++k) {
    long double re = 0, im = 0;
    for (size_t n = 0; n < size; ++n) {
      const Exact t = turns[n * k % size];
      re += x[n].real() * t.real() - x[n].imag() * t.imag();
      im += x[n].real() * t.imag() + x[n].imag() * t.real();
    }
    y[k] = {re, im};
  }
  return y;
}

inline std::vector<Exact> exact(const Spectrum& values) {
  std::vector<Exact> all;
  for (const Complex c : values) all.emplace_back(c.re, c.im);
  return all;
}
inline std::vector<Exact> exact(const Samples& values) { return {values.begin(), values.end()}; }

// The bins above N/2 of a real transform, the imaginary parts of bins 0 and N/2 left out.
inline std::vector<Exact> whole_spectrum(const Spectrum& half, size_t size) {
  std::vector<Exact> all(size);
  for (size_t k = 0; k <= size / 2; ++k) all[k] = {half[k].re, half[k].im};
  all[0] = half[0].re;
  all[size / 2] = half[size / 2].re;
  for (size_t k = 1; k < size / 2; ++k) all[size - k] = std::conj(all[k]);
  return all;
}

// Relative error in the root-mean-square sense.
template <class Values>
double relative_error(const Values& actual, const std::vector<Exact>& expected,
                      long double gain = 1) {
  const std::vector<Exact> values = exact(actual);
  long double error = 0, size = 0;
  for (size_t i = 0; i < expected.size(); ++i) {
    error += std::norm(values[i] - gain * expected[i]);
    size += std::norm(gain * expected[i]);
  }
  return static_cast<double>(std::sqrt(error / size));
}

// The largest distance between two sets of values.
template <class Values>
double largest_error(const Values& actual, const std::vector<Exact>& expected) {
  const std::vector<Exact> values = exact(actual);
  long double largest = 0;
  for (size_t i = 0; i < expected.size(); ++i) {
    largest = std::fmax(largest, std::abs(values[i] - expected[i]));
  }
  return static_cast<double>(largest);
}

struct FreePlan {
  void operator()(RealFftPlan* plan) const { std::free(plan); }
};
using Plan = std::unique_ptr<RealFftPlan, FreePlan>;

inline Plan plan_for(int32_t size) { return Plan(fft_plan_alloc(size)); }

inline ComplexFftConfig config_of(const Plan& plan) {
  return {plan->ncfft, plan->factors, plan->twiddles, plan->buffer + plan->ncfft};
}

// Kinds of input for comparisons bit for bit.
enum class Kind { kSamples, kWide, kHuge, kTiny, kSparse, kSpecial, kAnything };
inline constexpr Kind kKinds[] = {Kind::kSamples, Kind::kWide,    Kind::kHuge,    Kind::kTiny,
                                  Kind::kSparse,  Kind::kSpecial, Kind::kAnything};

// The vector unit of 32-bit ARM flushes subnormals: there, nothing is so small that a product or a
// difference could come out subnormal.
#if defined(__arm__)
inline constexpr int kSmallestExponent = -60;
#else
inline constexpr int kSmallestExponent = -149;
#endif

inline float value_of(Kind kind, Random& random) {
  switch (kind) {
    case Kind::kSamples:
      return random.sample();
    case Kind::kWide:
      return std::ldexp(random.unit(), random.below(80) - 40);
    case Kind::kHuge:  // sums overflow
      return std::ldexp(random.unit(), 128 - random.below(8));
    case Kind::kTiny:
      return std::ldexp(random.unit(), kSmallestExponent + random.below(30));
    case Kind::kSparse:  // zeros of both signs among samples
      return random.below(8) == 0 ? random.sample() : random.below(2) == 0 ? 0.0f : -0.0f;
    case Kind::kSpecial: {
      if (random.below(64) != 0) return random.sample();
      constexpr float kInfinity = std::numeric_limits<float>::infinity();
      const float special[] = {kInfinity, -kInfinity, std::numeric_limits<float>::quiet_NaN()};
      return special[random.below(3)];
    }
    case Kind::kAnything:
      break;
  }
  const float any = random.any_float();
  return std::fabs(any) < std::ldexp(1.0f, kSmallestExponent) ? 0.0f : any;
}

inline Samples samples_of(Kind kind, int count, Random& random) {
  Samples x(static_cast<size_t>(count));
  for (float& value : x) value = value_of(kind, random);
  return x;
}

inline Spectrum spectrum_of(Kind kind, int bins, Random& random) {
  Spectrum x(static_cast<size_t>(bins));
  for (Complex& value : x) value = {value_of(kind, random), value_of(kind, random)};
  return x;
}

inline std::string kind_note(Kind kind, int size) {
  return "kind " + std::to_string(static_cast<int>(kind)) + ", size " + std::to_string(size);
}

// Arrays that a transform must not touch hold this.
inline constexpr Complex kUntouched = {12345.0f, -54321.0f};

inline bool is_untouched(const Complex& value) {
  return value.re == kUntouched.re && value.im == kUntouched.im;
}

}  // namespace vekbf::test
