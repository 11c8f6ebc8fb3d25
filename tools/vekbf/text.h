// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>

#include "write_all.h"

namespace vekbf_tool {

// A number as a person would write it: 0.05, not 0.050000.
inline std::string plain_number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

inline std::string counted(long long count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

// To standard output. Throws RunError.
inline void print(const std::string& text) {
  write_all(STDOUT_FILENO, text.data(), text.size(), "standard output");
}

// The text as one line of valid UTF-8 without control characters, cut where it is very long.
std::string printable(const std::string& text);

// Prints one line on standard error. Control characters in the text are replaced: file names may
// contain line breaks.
void say(const std::string& text);

}  // namespace vekbf_tool
