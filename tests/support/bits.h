// SPDX-License-Identifier: MIT
//
// Bit-for-bit comparison of floats in which every not-a-number equals every other.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/complex.h"

namespace vekbf::test {

inline bool same_bits(float a, float b) {
  return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b) || (a != a && b != b);
}

// As same_bits, but a subnormal equals zero: the vector unit of 32-bit ARM flushes them.
inline bool same_bits_flushed(float a, float b) {
  const auto flush = [](float x) { return std::fabs(x) < 0x1p-126f ? 0.0f * x : x; };
  return same_bits(flush(a), flush(b)) || (flush(a) == 0.0f && flush(b) == 0.0f);
}

inline ::testing::AssertionResult same_floats(const float* actual, const float* expected,
                                              size_t count, bool flushed = false) {
  // Nearly always, and much faster than one by one.
  if (count == 0 || std::memcmp(actual, expected, count * sizeof *actual) == 0) {
    return ::testing::AssertionSuccess();
  }
  for (size_t i = 0; i < count; ++i) {
    const bool same =
        flushed ? same_bits_flushed(actual[i], expected[i]) : same_bits(actual[i], expected[i]);
    if (!same) {
      return ::testing::AssertionFailure()
             << "float " << i << ": " << actual[i] << " (0x" << std::hex
             << std::bit_cast<uint32_t>(actual[i]) << ") instead of " << expected[i] << " (0x"
             << std::bit_cast<uint32_t>(expected[i]) << ")";
    }
  }
  return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult same_spectra(const Complex* actual, const Complex* expected,
                                               size_t bins, bool flushed = false) {
  return same_floats(as_floats(actual), as_floats(expected), 2 * bins, flushed);
}

}  // namespace vekbf::test
