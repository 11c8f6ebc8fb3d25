// SPDX-License-Identifier: MIT
#include "stream/array_file.h"

#include <stdlib.h>

#include <cstdio>
#include <cstring>

#include "stream/settings.h"

namespace vekbf::stream {

namespace {

constexpr const char* kSuffix = ".conf";

bool ends_with_suffix(Text text) {
  const size_t length = std::strlen(kSuffix);
  return text.size > length && equal(without_first(text, text.size - length), kSuffix);
}

bool is_path(Text text) { return find(text, '/') < text.size || ends_with_suffix(text); }

// To be released with free; null if out of memory.
char* installed_path(Text name, const char* folder) {
  const size_t size = std::strlen(folder) + 1 + name.size + std::strlen(kSuffix) + 1;
  char* path = static_cast<char*>(malloc(size));
  if (path == nullptr) return nullptr;
  std::snprintf(path, size, "%s/%.*s%s", folder, static_cast<int>(name.size), name.begin, kSuffix);
  return path;
}

bool is_there(const char* path) {
  std::FILE* const file = std::fopen(path, "rb");
  if (file == nullptr) return false;
  std::fclose(file);
  return true;
}

bool check_file(const char* path, const Values& read, Message& message) {
  Message fault;
  if (read.micCount == 0) {
    fault << "describes no array: mics gives the positions";
  } else if (check_picks(read, fault)) {
    return true;
  }
  message << path << ": " << fault.line();
  return false;
}

void adopt(const Values& read, Values& values) {
  values.micCount = read.micCount;
  std::memcpy(values.mic, read.mic, sizeof values.mic);
  values.shapeGeometry = geometry_of(read);
  values.arrayPickCount = read.pickCount;
  std::memcpy(values.arrayPicks, read.picks, sizeof values.arrayPicks);
}

bool read_array(const char* path, Values& values, Message& message) {
  VekStreamSettings* const file = VekStream_NewSettings();
  if (file == nullptr) {
    message << kNoMemory;
    return false;
  }
  file->values.describesArray = true;
  const char* const fault = VekStream_ReadFile(file, path);
  if (fault != nullptr) message << fault;
  const bool read = fault == nullptr && check_file(path, file->values, message);
  if (read) adopt(file->values, values);
  VekStream_FreeSettings(file);
  return read;
}

}  // namespace

const char* arrays_folder() { return VEKBF_ARRAYS_FOLDER; }

bool take_array_file(Text text, const char* folder, Values& values, Message& message) {
  // A file that describes an array names no other file: it could name itself.
  if (text.size == 0 || values.describesArray) return false;
  const bool named = !is_path(text);
  if (named && find(text, ':') < text.size) return false;  // a shape with a fault in it
  char* const path = named ? installed_path(text, folder) : copy_text(text);
  if (path == nullptr) {
    message << kNoMemory;
    return false;
  }
  bool read = false;
  if (named && !is_there(path)) {
    message << "array is " << kSettings[kArray].right << " or the name of a file in " << folder
            << ", not ";
    message.quote(text);
  } else {
    Message fault;
    read = read_array(path, values, fault);
    if (!read) {
      message << "array ";
      message.quote(text) << ": " << fault.line();
    }
  }
  free(path);
  return read;
}

}  // namespace vekbf::stream
