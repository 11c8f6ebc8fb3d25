// SPDX-License-Identifier: MIT
//
// Random test input that is the same on every machine, and seeds that a failing test prints.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace vekbf::test {

// SplitMix64 (Steele, Lea, Flood 2014).
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint64_t next() {
    uint64_t z = (state_ += 0x9e3779b97f4a7c15u);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
  }
  uint32_t next32() { return static_cast<uint32_t>(next() >> 32); }
  // 0 to count-1.
  int below(int count) { return static_cast<int>(next32() % static_cast<uint32_t>(count)); }
  // -1 to 1, exact in single precision.
  float unit() {
    return static_cast<float>(static_cast<int32_t>(next32() >> 8) - 0x800000) * 0x1p-23f;
  }
  int16_t sample() { return static_cast<int16_t>(next32() >> 16); }
  // Any float at all: every bit pattern equally likely.
  float any_float() { return std::bit_cast<float>(next32()); }

 private:
  uint64_t state_;
};

// The seed of a random test: VEKBF_TEST_SEED from the environment, else `fallback`. Put
// SCOPED_TRACE(seed_note(seed)) into the test so that a failure says how to run it again.
inline uint64_t test_seed(uint64_t fallback) {
  const char* text = std::getenv("VEKBF_TEST_SEED");
  return text != nullptr ? std::strtoull(text, nullptr, 0) : fallback;
}
inline std::string seed_note(uint64_t seed) {
  return "run again with VEKBF_TEST_SEED=" + std::to_string(seed);
}

}  // namespace vekbf::test
