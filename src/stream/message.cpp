// SPDX-License-Identifier: MIT
#include "stream/message.h"

#include <cstring>

namespace vekbf::stream {

namespace {

constexpr size_t kLongestQuote = 400;  // bytes

// Bytes of the UTF-8 character at the head of `text`; 0 if there is none or it is a control
// character.
size_t printable_length(Text text) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text.begin[i]); };
  const unsigned head = byte(0);
  if (head < 0x80) return head < 0x20 || head == 0x7f ? 0 : 1;
  if (head < 0xc2 || head > 0xf4) return 0;
  const size_t length = head >= 0xf0 ? 4 : head >= 0xe0 ? 3 : 2;
  if (text.size < length) return 0;
  uint32_t code = head & (0x7fu >> length);
  for (size_t i = 1; i < length; i++) {
    if ((byte(i) & 0xc0u) != 0x80) return 0;
    code = code << 6 | (byte(i) & 0x3fu);
  }
  const bool overlong = code < (length == 4 ? 0x10000u : length == 3 ? 0x800u : 0x80u);
  const bool surrogate = code >= 0xd800 && code < 0xe000;
  return overlong || surrogate || code < 0xa0 || code > 0x10ffff ? 0 : length;
}

}  // namespace

Message& Message::operator<<(Text text) {
  while (text.size > 0) {
    const size_t length = printable_length(text);
    const Text shown = length > 0 ? first_of(text, length) : Text{"?", 1};
    if (size_ + shown.size > kLongest) break;
    std::memcpy(text_ + size_, shown.begin, shown.size);
    size_ += shown.size;
    text = without_first(text, length > 0 ? length : 1);
  }
  return *this;
}

Message& Message::operator<<(int64_t number) {
  char digits[24];
  size_t first = sizeof digits;
  const bool negative = number < 0;
  uint64_t rest =
      negative ? uint64_t{0} - static_cast<uint64_t>(number) : static_cast<uint64_t>(number);
  do {
    digits[--first] = static_cast<char>('0' + rest % 10);
    rest /= 10;
  } while (rest > 0);
  if (negative) digits[--first] = '-';
  return *this << Text{digits + first, sizeof digits - first};
}

Message& Message::quote(Text text) {
  const bool shortened = text.size > kLongestQuote;
  return *this << "'" << first_of(text, shortened ? kLongestQuote : text.size)
               << (shortened ? "...'" : "'");
}

const char* Message::line() {
  text_[size_] = '\0';
  return text_;
}

}  // namespace vekbf::stream
