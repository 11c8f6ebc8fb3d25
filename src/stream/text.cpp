// SPDX-License-Identifier: MIT
#include "stream/text.h"

#include <locale.h>
#include <stdlib.h>

#include <cmath>
#include <cstring>

#include "simd/float_mode.h"

namespace vekbf::stream {

namespace {

constexpr size_t kLongestNumber = 100;  // bytes; longer texts are not numbers

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_blank(char c) { return c == ' ' || c == '\t'; }

size_t count_digits(Text text, size_t from) {
  size_t end = from;
  while (end < text.size && is_digit(text.begin[end])) end++;
  return end - from;
}

// strtod with the point of the language C, whatever locale the host has set for itself.
double to_number(const char* text, double) {
  const locale_t language = newlocale(LC_ALL_MASK, "C", nullptr);
  if (language == nullptr) return NAN;  // GCOVR_EXCL_BR_LINE: "C" is there without a file or memory
  const double value = strtod_l(text, nullptr, language);
  freelocale(language);
  return value;
}

// Rounded once, from the decimal text to single precision.
float to_number(const char* text, float) {
  const locale_t language = newlocale(LC_ALL_MASK, "C", nullptr);
  if (language == nullptr) return NAN;  // GCOVR_EXCL_BR_LINE: as above
  const float value = strtof_l(text, nullptr, language);
  freelocale(language);
  return value;
}

template <class Number>
bool parse_real(Text text, Number& value) {
  char copy[kLongestNumber + 1];
  if (text.size > kLongestNumber || number_length(text) != text.size || text.size == 0) {
    return false;
  }
  std::memcpy(copy, text.begin, text.size);
  copy[text.size] = '\0';
  const ScopedIeeeMode mode;
  const Number number = to_number(copy, Number{});
  if (!std::isfinite(number)) return false;
  value = number;
  return true;
}

}  // namespace

Text text_of(const char* string) { return {string, std::strlen(string)}; }

bool equal(Text text, const char* string) {
  return text.size == std::strlen(string) && std::memcmp(text.begin, string, text.size) == 0;
}

bool starts_with(Text text, const char* string) {
  const size_t length = std::strlen(string);
  return text.size >= length && std::memcmp(text.begin, string, length) == 0;
}

Text without_first(Text text, size_t count) { return {text.begin + count, text.size - count}; }

Text first_of(Text text, size_t count) { return {text.begin, count}; }

Text trimmed(Text text) {
  while (text.size > 0 && is_blank(text.begin[0])) text = without_first(text, 1);
  while (text.size > 0 && is_blank(text.begin[text.size - 1])) text.size--;
  return text;
}

size_t find(Text text, char wanted) {
  size_t i = 0;
  while (i < text.size && text.begin[i] != wanted) i++;
  return i;
}

bool next_part(Parts& parts, char separator, Text& part) {
  if (!parts.more) return false;
  const size_t end = find(parts.rest, separator);
  part = first_of(parts.rest, end);
  parts.more = end < parts.rest.size;
  if (parts.more) parts.rest = without_first(parts.rest, end + 1);
  return true;
}

size_t number_length(Text text) {
  size_t end = 0;
  if (end < text.size && (text.begin[end] == '+' || text.begin[end] == '-')) end++;
  const size_t whole = count_digits(text, end);
  end += whole;
  size_t fraction = 0;
  if (end < text.size && text.begin[end] == '.') {
    fraction = count_digits(text, end + 1);
    if (whole + fraction > 0) end += 1 + fraction;
  }
  if (whole + fraction == 0) return 0;
  if (end < text.size && (text.begin[end] == 'e' || text.begin[end] == 'E')) {
    size_t power = end + 1;
    if (power < text.size && (text.begin[power] == '+' || text.begin[power] == '-')) power++;
    const size_t digits = count_digits(text, power);
    if (digits > 0) end = power + digits;
  }
  return end;
}

bool parse_number(Text text, double& value) { return parse_real(text, value); }

bool parse_number(Text text, float& value) { return parse_real(text, value); }

bool parse_number(Text text, int32_t& value) {
  const bool negative = text.size > 0 && text.begin[0] == '-';
  if (negative || (text.size > 0 && text.begin[0] == '+')) text = without_first(text, 1);
  if (text.size == 0 || count_digits(text, 0) != text.size) return false;
  const int64_t largest = negative ? -static_cast<int64_t>(INT32_MIN) : INT32_MAX;
  int64_t number = 0;
  for (size_t i = 0; i < text.size; i++) {
    number = 10 * number + (text.begin[i] - '0');
    if (number > largest) return false;
  }
  value = static_cast<int32_t>(negative ? -number : number);
  return true;
}

char* copy_text(Text text) {
  char* copy = static_cast<char*>(malloc(text.size + 1));
  if (copy == nullptr) return nullptr;
  if (text.size > 0) std::memcpy(copy, text.begin, text.size);
  copy[text.size] = '\0';
  return copy;
}

}  // namespace vekbf::stream
