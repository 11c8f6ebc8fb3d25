// SPDX-License-Identifier: MIT
//
// What a fuzz target is made of: the entry points that libFuzzer calls, the reading of its input,
// and the way to say that something is wrong.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace vekbf::fuzz {

// Whether this program holds the defect that shows that a target finds one.
#if defined(VEKBF_PLANTED_DEFECT)
inline constexpr bool kPlanted = true;
#else
inline constexpr bool kPlanted = false;
#endif

// The library's lines and the tool's help go nowhere; findings go to standard error.
void silence_standard_output();

// Says what is wrong, what else there is to know about it (the last note), and aborts.
[[noreturn]] void fail(const char* what, const char* detail = "");
void note_for_failure(const std::string& note);

// Counts what was done, by name; the end of the program prints every count on standard error.
void tally(const char* what, uint64_t number = 1);
uint64_t tallied(const char* what);

inline void expect(bool holds, const char* what, const char* detail = "") {
  if (!holds) fail(what, detail);
}

// Takes the input apart from its beginning; past its end it reads zeros.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), left_(size) {}
  bool empty() const { return left_ == 0; }
  size_t left() const { return left_; }
  const uint8_t* rest() const { return data_; }

  uint8_t byte() {
    if (left_ == 0) return 0;
    --left_;
    return *data_++;
  }
  uint32_t below(uint32_t count) { return byte() % count; }
  uint32_t word() {
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value |= static_cast<uint32_t>(byte()) << (8 * i);
    return value;
  }
  int32_t number() { return static_cast<int32_t>(word()); }
  float any_float();
  int16_t sample() {
    const auto low = byte();
    return static_cast<int16_t>(static_cast<uint16_t>(low | byte() << 8));
  }

 private:
  const uint8_t* data_;
  size_t left_;
};

}  // namespace vekbf::fuzz
