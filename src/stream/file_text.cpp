// SPDX-License-Identifier: MIT
#include "stream/file_text.h"

#include <stdlib.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "stream/grown.h"

namespace vekbf::stream {

namespace {

constexpr size_t kFirstSize = 4096;

// Reads until the end or one byte more than `largest`. Returns 0, or the value of errno.
int read_all(std::FILE* source, size_t largest, FileText& file) {
  size_t room = 0;
  for (;;) {
    if (file.size == room) {
      room = room == 0 ? kFirstSize : 2 * room;
      char* larger = grown(file.content, file.size, room);
      if (larger == nullptr) return ENOMEM;
      file.content = larger;
    }
    const size_t got = std::fread(file.content + file.size, 1, room - file.size, source);
    file.size += got;
    if (file.size > largest) return EFBIG;
    // GCOVR_EXCL_BR_START: C does not promise that errno is set; this C library sets it
    if (got == 0) return std::ferror(source) != 0 ? (errno != 0 ? errno : EIO) : 0;
    // GCOVR_EXCL_BR_STOP
  }
}

}  // namespace

bool read_whole(const char* path, size_t largest, FileText& file, Message& message) {
  file = {nullptr, 0};
  errno = 0;
  std::FILE* source = std::fopen(path, "rb");
  int error = source == nullptr ? errno : read_all(source, largest, file);
  if (source != nullptr) std::fclose(source);
  if (error == 0) return true;
  free(file.content);
  file = {nullptr, 0};
  if (error == EFBIG) {
    message << "is longer than " << static_cast<int64_t>(largest) << " bytes";
  } else {
    message << "cannot be read: " << (error == ENOMEM ? kNoMemory : std::strerror(error));
  }
  return false;
}

bool next_line(Text& rest, Text& line) {
  if (rest.size == 0) return false;
  const size_t end = find(rest, '\n');
  line = first_of(rest, end);
  rest = without_first(rest, end < rest.size ? end + 1 : end);
  if (line.size > 0 && line.begin[line.size - 1] == '\r') line.size--;
  return true;
}

}  // namespace vekbf::stream
