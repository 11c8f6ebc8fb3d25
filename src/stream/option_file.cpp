// SPDX-License-Identifier: MIT
#include "stream/option_file.h"

#include <stdlib.h>

#include "stream/file_text.h"

namespace vekbf::stream {

namespace {

constexpr size_t kLongestName = 500;  // bytes of a path that a message shows
constexpr const char* kByteOrderMark = "\xef\xbb\xbf";

struct Reader {
  Changes& changes;
  VekStreamOther* other;
  void* user;
};

// Of a line that is not empty.
bool is_comment(Text line) { return line.begin[0] == '#' || line.begin[0] == ';'; }

bool is_quote(char c) { return c == '"' || c == '\''; }

// Removes a quoted text from the front of `rest`. False if there is none.
bool cut_quoted(Text& rest, Text& inside) {
  if (rest.size == 0 || !is_quote(rest.begin[0])) return false;
  const Text behind = without_first(rest, 1);
  const size_t end = find(behind, rest.begin[0]);
  if (end == behind.size) return false;
  inside = first_of(behind, end);
  rest = without_first(behind, end + 1);
  return true;
}

bool ends_line(Text rest) {
  rest = trimmed(rest);
  return rest.size == 0 || rest.begin[0] == '#';
}

// A value without quotes ends where a # follows a blank.
Text without_comment(Text value) {
  for (size_t i = 0; i < value.size; i++) {
    const bool apart = i == 0 || value.begin[i - 1] == ' ' || value.begin[i - 1] == '\t';
    if (apart && value.begin[i] == '#') return trimmed(first_of(value, i));
  }
  return value;
}

bool hand_to_host(const Reader& reader, Text name, Text value, Message& message) {
  char* nameCopy = copy_text(name);
  char* valueCopy = copy_text(value);
  const bool copied = nameCopy != nullptr && valueCopy != nullptr;
  const char* fault = copied ? reader.other(reader.user, nameCopy, valueCopy) : kNoMemory;
  if (fault != nullptr) message << fault;
  free(nameCopy);
  free(valueCopy);
  return fault == nullptr;
}

bool set(Reader& reader, Text name, Text value, Message& message) {
  const Key key = find_key(name);
  if (key != kKeyCount) return reader.changes.set(key, value, message);
  if (reader.other != nullptr) return hand_to_host(reader, name, value, message);
  refuse_key(name, message);
  return false;
}

// ["0,0", "0.05,0"], one value after the other.
bool set_list(Reader& reader, Text name, Text list, Message& message) {
  Text rest = without_first(list, 1);
  for (char end = ','; end == ',';) {
    Text item{};
    rest = trimmed(rest);
    const bool read = cut_quoted(rest, item);
    rest = trimmed(rest);
    end = rest.size > 0 ? rest.begin[0] : '\0';
    if (!read || (end != ',' && end != ']')) {
      message << name << " is a list such as [\"0,0\", \"0.05,0\"], not ";
      message.quote(list);
      return false;
    }
    if (!set(reader, name, trimmed(item), message)) return false;
    rest = without_first(rest, 1);
  }
  if (ends_line(rest)) return true;
  message << name << " is a list that ends with ], not ";
  message.quote(list);
  return false;
}

bool set_line(Reader& reader, Text line, Message& message) {
  const size_t sign = find(line, '=');
  const Text name = trimmed(first_of(line, sign));
  if (sign == line.size || name.size == 0) {
    message << "a line is KEY = VALUE, such as angle = 60, not ";
    message.quote(line);
    return false;
  }
  Text value = trimmed(without_first(line, sign + 1));
  if (equal(name, "mic") && value.size > 0 && value.begin[0] == '[') {
    return set_list(reader, name, value, message);
  }
  if (value.size == 0 || !is_quote(value.begin[0])) {
    return set(reader, name, without_comment(value), message);
  }
  Text rest = value;
  Text inside{};
  if (cut_quoted(rest, inside) && ends_line(rest))
    return set(reader, name, trimmed(inside), message);
  message << name << " is a value in quotes with nothing behind them, not ";
  message.quote(value);
  return false;
}

}  // namespace

void name_file(const char* path, Message& message) {
  const Text whole = text_of(path);
  const bool shortened = whole.size > kLongestName;
  message << (shortened ? "..." : "")
          << (shortened ? without_first(whole, whole.size - kLongestName) : whole);
}

bool read_options(Text text, const char* path, Changes& changes, VekStreamOther* other, void* user,
                  Message& message) {
  Reader reader{changes, other, user};
  if (starts_with(text, kByteOrderMark)) text = without_first(text, 3);
  bool empty = true;
  Text line{};
  for (int64_t number = 1; next_line(text, line); number++) {
    line = trimmed(line);
    if (line.size == 0 || is_comment(line)) continue;
    empty = false;
    Message fault;
    if (set_line(reader, line, fault)) continue;
    name_file(path, message);
    message << ":" << number << ": " << fault.line();
    return false;
  }
  if (!empty) return true;
  name_file(path, message);
  message << ": has no setting, such as angle = 60";
  return false;
}

}  // namespace vekbf::stream
