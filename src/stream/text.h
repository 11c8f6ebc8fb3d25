// SPDX-License-Identifier: MIT
//
// Text as the settings read it: views of bytes, and numbers independent of the host's locale.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vekbf::stream {

// A view of bytes, not terminated by a zero.
struct Text {
  const char* begin;
  size_t size;
};

Text text_of(const char* string);
bool equal(Text text, const char* string);
bool starts_with(Text text, const char* string);
Text without_first(Text text, size_t count);
Text first_of(Text text, size_t count);
// Without spaces and tabs at either end.
Text trimmed(Text text);
// Position of the first `wanted`, or text.size.
size_t find(Text text, char wanted);

// Removes the part before the next `separator` from the front of `rest`. False when nothing is
// left; "a,,b" has three parts, "" none.
struct Parts {
  Text rest;
  bool more;
};
inline Parts parts_of(Text text) { return {text, text.size > 0}; }
bool next_part(Parts& parts, char separator, Text& part);

// The whole text as a decimal number: sign, digits with a point, exponent, without spaces. False
// for anything else and for what is too large.
bool parse_number(Text text, double& value);
bool parse_number(Text text, float& value);
bool parse_number(Text text, int32_t& value);

// The decimal number at the head of the text: how many bytes it has, 0 if there is none.
size_t number_length(Text text);

// A copy ended by a zero, to be released with free; NULL if out of memory.
char* copy_text(Text text);

}  // namespace vekbf::stream
