// SPDX-License-Identifier: MIT
#pragma once

#include "stream/message.h"
#include "stream/text.h"

namespace vekbf::stream {

// A whole file in memory. Released with free(content).
struct FileText {
  char* content;
  size_t size;
};

// False after a fault, which `message` tells: a file that cannot be read or is longer than
// `largest` bytes, or no memory.
bool read_whole(const char* path, size_t largest, FileText& file, Message& message);

// Removes the next line from the front of `rest`; `line` is it without \n or \r\n. False when
// nothing is left.
bool next_line(Text& rest, Text& line);

}  // namespace vekbf::stream
