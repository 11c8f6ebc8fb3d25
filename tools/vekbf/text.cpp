// SPDX-License-Identifier: MIT
#include "text.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vekbf_tool {

namespace {

constexpr std::size_t kLongest = 5000;  // more than a path may have

// Bytes of the UTF-8 character at the front of `text`; 0 if there is none or it is a control
// character.
std::size_t character(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char head = byte(0);
  if (head < 0x80) return head < 0x20 || head == 0x7f ? 0 : 1;
  const std::size_t length = head >= 0xf0 ? 4 : head >= 0xe0 ? 3 : 2;
  if (head < 0xc2 || head > 0xf4 || text.size() < length) return 0;
  std::uint32_t code = head & (0x7fu >> length);
  for (std::size_t i = 1; i < length; i++) {
    if ((byte(i) & 0xc0) != 0x80) return 0;
    code = code << 6 | (byte(i) & 0x3fu);
  }
  const bool shortest = code >= (length == 4 ? 0x10000u : length == 3 ? 0x800u : 0x80u);
  const bool surrogate = code >= 0xd800 && code < 0xe000;
  return shortest && !surrogate && code >= 0xa0 && code <= 0x10ffff ? length : 0;
}

}  // namespace

std::string printable(const std::string& text) {
  std::string line;
  for (std::string_view rest = text; !rest.empty() && line.size() < kLongest;) {
    const std::size_t length = character(rest);
    const bool isBreak = rest[0] == '\n' || rest[0] == '\r';
    if (length > 0) {
      line += rest.substr(0, length);
    } else {
      line += isBreak ? ' ' : '?';
    }
    rest.remove_prefix(length > 0 ? length : 1);
  }
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

void say(const std::string& text) { std::fprintf(stderr, "vekbf: %s\n", printable(text).c_str()); }

}  // namespace vekbf_tool
