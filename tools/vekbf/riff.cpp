// SPDX-License-Identifier: MIT
#include "riff.h"

#include <cstdint>
#include <filesystem>
#include <fstream>

namespace vekbf_tool {

namespace {

constexpr std::uint64_t kIn64Bits = 0xffffffff;  // RF64: the chunk "ds64" knows

class Chunks {
 public:
  explicit Chunks(const std::string& path) : file_(path, std::ios::binary) {
    const std::string form = word();
    big_ = form == "RIFX";
    number(4);  // length of the whole file
    isWav_ = (big_ || form == "RIFF" || form == "RF64") && word() == "WAVE";
  }
  // To the head of the next one; false at the end.
  bool next() {
    if (!isWav_) return false;
    file_.seekg(end_);
    name_ = word();
    size_ = number(4);
    end_ = file_.tellg();
    end_ += static_cast<std::streamoff>(size_ + size_ % 2);
    return static_cast<bool>(file_);
  }
  const std::string& name() const { return name_; }
  std::uint64_t size() const { return size_; }
  std::uint64_t position() { return static_cast<std::uint64_t>(file_.tellg()); }
  std::uint64_t number(int bytes) {
    std::uint64_t value = 0;
    for (int i = 0; i < bytes; i++) {
      const auto byte = static_cast<std::uint64_t>(file_.get() & 0xff);
      value = big_ ? value << 8 | byte : value | byte << (8 * i);
    }
    return value;
  }

 private:
  std::string word() {
    std::string text(4, '\0');
    file_.read(text.data(), 4);
    return text;
  }
  std::ifstream file_;
  bool big_ = false;
  bool isWav_ = false;
  std::string name_;
  std::uint64_t size_ = 0;
  std::streamoff end_ = 12;
};

}  // namespace

bool is_unknown_length(std::uint64_t bytes) {
  constexpr std::uint64_t kSlack = 0x100000;
  return (bytes >= 0x80000000 - kSlack && bytes <= 0x80000000) ||
         (bytes >= kIn64Bits - kSlack && bytes <= kIn64Bits);
}

bool is_cut_off(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return false;
  const std::uint64_t all = std::filesystem::file_size(path, error);
  if (error) return false;
  Chunks chunks(path);
  std::uint64_t in64Bits = kIn64Bits;
  while (chunks.next()) {
    if (chunks.name() == "ds64") {
      chunks.number(8);  // of the whole file
      in64Bits = chunks.number(8);
    }
    if (chunks.name() != "data") continue;
    const std::uint64_t promised = chunks.size() == kIn64Bits ? in64Bits : chunks.size();
    return !is_unknown_length(promised) && promised > all - chunks.position();
  }
  return false;
}

}  // namespace vekbf_tool
