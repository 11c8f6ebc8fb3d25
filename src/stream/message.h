// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

#include "stream/text.h"

namespace vekbf::stream {

inline constexpr const char* kNoMemory = "out of memory";

// A message of one line: valid UTF-8 without control characters, whatever text is put into it.
class Message {
 public:
  void clear() { size_ = 0; }
  Message& operator<<(const char* text) { return *this << text_of(text); }
  Message& operator<<(Text text);
  Message& operator<<(int64_t number);
  // In quotes, and shortened if it is very long.
  Message& quote(Text text);
  bool empty() const { return size_ == 0; }
  const char* line();

 private:
  static constexpr size_t kLongest = 1023;
  char text_[kLongest + 1];
  size_t size_ = 0;
};

}  // namespace vekbf::stream
