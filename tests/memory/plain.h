// SPDX-License-Identifier: MIT
//
// Plain scenes: the library played without GoogleTest and without the C++ run-time library.
// MemorySanitizer takes whatever code that was not built with it writes for uninitialised; here
// everything but the C library, whose calls it knows, is built with it. The same program runs under
// valgrind, and in every build.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vekbf::plain {

// Counts and names what is not as it should be; plain_main.cpp turns the count into a status.
void expect(bool condition, const char* what);

// Uses every byte for an address. Checkers report an uninitialised value where something depends on
// it, not where it is copied.
void look_at(const void* memory, size_t size);

// SplitMix64 (Steele, Lea, Flood 2014).
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint32_t next() {
    uint64_t z = (state_ += 0x9e3779b97f4a7c15u);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return static_cast<uint32_t>((z ^ (z >> 31)) >> 32);
  }
  int below(int count) { return static_cast<int>(next() % static_cast<uint32_t>(count)); }

 private:
  uint64_t state_;
};

// What is played.
void play_instances();
void play_refusals();
void play_transforms();
void play_detectors();

// Has the library read an input that nobody wrote ("input"), or gives it an output buffer that is
// one sample too short ("output"), for a checker to find. False for any other name.
bool plant(const char* where);

}  // namespace vekbf::plain
