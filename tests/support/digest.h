// SPDX-License-Identifier: MIT
//
// 64-bit FNV-1a (G. Fowler, L. C. Noll, K.-P. Vo), byte by byte: simple enough to be written again
// on any board from its two constants.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vekbf::test {

class Digest {
 public:
  void byte(uint8_t value) { hash_ = (hash_ ^ value) * 0x100000001b3u; }
  void bytes(const uint8_t* values, size_t count) {
    for (size_t i = 0; i < count; ++i) byte(values[i]);
  }
  // Little-endian on every machine.
  void samples(const int16_t* values, size_t count) {
    for (size_t i = 0; i < count; ++i) {
      const auto bits = static_cast<uint16_t>(values[i]);
      byte(static_cast<uint8_t>(bits & 0xff));
      byte(static_cast<uint8_t>(bits >> 8));
    }
  }
  uint64_t value() const { return hash_; }

 private:
  uint64_t hash_ = 0xcbf29ce484222325u;
};

}  // namespace vekbf::test
