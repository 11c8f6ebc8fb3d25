// SPDX-License-Identifier: MIT
//
// Every float of the phasor's domain, both signs, against the double-precision library functions;
// and every smaller float against the rule that replaces them there. Takes about a minute a thread
// on a desktop core.
#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>
#include <thread>
#include <vector>

#include "math/phasor.h"
#include "support/bits.h"

namespace vekbf {
namespace {

// Calls check(bits) for all floats from `first` to `last`, on all processors; returns the number of
// mismatches.
template <class Check>
uint64_t count_mismatches(uint32_t first, uint32_t last, Check check) {
  const unsigned workers = std::max(1u, std::thread::hardware_concurrency());
  std::atomic<uint64_t> bad{0};
  std::vector<std::thread> threads;
  for (unsigned w = 0; w < workers; ++w) {
    threads.emplace_back([&, w] {
      uint64_t mine = 0;
      for (uint64_t bits = uint64_t{first} + w; bits <= last; bits += workers) {
        mine += check(static_cast<uint32_t>(bits)) ? 0 : 1;
      }
      bad += mine;
    });
  }
  for (std::thread& thread : threads) thread.join();
  return bad;
}

TEST(PhasorExhaustive, EveryFloatOfTheDomain) {
  using D = simd::f64x2;
  const auto check = [](uint32_t bits) {
    const double x = static_cast<double>(std::bit_cast<float>(bits));
    const Phasor<D> value = phasor(D::of(x, -x));
    Complex pair[2];
    store_pairs(pair, value.re, value.im);
    const float cosine = static_cast<float>(std::cos(x));
    const float sine = static_cast<float>(std::sin(x));
    return test::same_bits(pair[0].re, cosine) && test::same_bits(pair[1].re, cosine) &&
           test::same_bits(pair[0].im, -sine) && test::same_bits(pair[1].im, sine);
  };
  EXPECT_EQ(count_mismatches(std::bit_cast<uint32_t>(kPhasorTiny),
                             std::bit_cast<uint32_t>(kPhasorLimit), check),
            0u);
}

TEST(PhasorExhaustive, EverySmallerFloatFollowsTheTinyRule) {
  const auto check = [](uint32_t bits) {
    const float phi = std::bit_cast<float>(bits);
    return static_cast<float>(std::cos(static_cast<double>(phi))) == 1.0f &&
           test::same_bits(static_cast<float>(std::sin(static_cast<double>(phi))), phi);
  };
  EXPECT_EQ(count_mismatches(0, std::bit_cast<uint32_t>(kPhasorTiny) - 1, check), 0u);
}

}  // namespace
}  // namespace vekbf
