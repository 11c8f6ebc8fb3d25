// SPDX-License-Identifier: MIT
#include "output_file.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <utility>

#include "failure.h"
#include "file_identity.h"

namespace vekbf_tool {

namespace fs = std::filesystem;

namespace {

constexpr long long kPlainHeaderBytes = 44;
constexpr long long kMostRiffBytes = 0xffffffff + 8LL;  // the size field leaves out the first 8

bool fits_riff(long long frames) {
  return frames <= (kMostRiffBytes - kPlainHeaderBytes) / static_cast<long long>(sizeof(short));
}

// A name beside `path` for a file that grows there. Names are at most 255 bytes long.
std::string part_name(const std::string& path) {
  constexpr std::size_t kLongestStem = 240;
  char ending[16];
  std::snprintf(ending, sizeof ending, ".%08x.part", std::random_device()());
  const fs::path name(path);
  const fs::path folder = name.parent_path();
  return (folder / (name.filename().string().substr(0, kLongestStem) + ending)).string();
}

}  // namespace

OutputFile::Part::~Part() {
  std::error_code ignored;
  if (!path.empty()) fs::remove(path, ignored);
}

// Returns the descriptor of the new file.
int OutputFile::create_part() {
  constexpr int kAttempts = 100;
  for (int attempt = 1;; attempt++) {
    const std::string name = part_name(path_);
    const int descriptor = open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor >= 0) {
      part_.path = name;
      return descriptor;
    }
    if (errno != EEXIST || attempt == kAttempts) {
      throw RunError("cannot write '" + name + "': " + std::strerror(errno));
    }
  }
}

OutputFile::OutputFile(const std::string& path, int sampleRate, std::optional<long long> frames)
    : path_(without_links(path)) {
  std::error_code error;
  const fs::file_status status = fs::status(path_, error);
  // The finished file is moved to its name, which must not replace a directory or a device.
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    throw RunError("'" + path_ + "' exists and is not a regular file");
  }
  SF_INFO info{};
  info.samplerate = sampleRate;
  info.channels = 1;
  const bool plain = frames && fits_riff(*frames);
  info.format = (plain ? SF_FORMAT_WAV : SF_FORMAT_RF64) | SF_FORMAT_PCM_16;
  const int descriptor = create_part();
  file_ = open_to_write(descriptor, info, "cannot write '" + part_.path + "'");
  if (!plain) sf_command(file_.get(), SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
}

void OutputFile::write(const std::int16_t* samples, std::size_t count) {
  const auto frames = static_cast<sf_count_t>(count);
  if (sf_writef_short(file_.get(), samples, frames) != frames) {
    throw RunError("cannot write '" + part_.path + "': " + sf_strerror(file_.get()));
  }
}

void OutputFile::close() {
  const int closed = sf_close(file_.release());
  if (closed != 0) throw RunError("cannot write '" + part_.path + "': " + sf_error_number(closed));
}

std::string OutputFile::finish_interrupted() {
  close();
  const std::string kept = std::exchange(part_.path, "");
  return std::string(1, '\'').append(kept).append("'");
}

void OutputFile::commit() {
  close();
  std::error_code error;
  fs::rename(part_.path, path_, error);
  if (error) throw RunError("cannot give '" + part_.path + "' its final name: " + error.message());
  part_.path.clear();
}

}  // namespace vekbf_tool
