// SPDX-License-Identifier: MIT
#include "input_file.h"

#include <algorithm>
#include <filesystem>

#include "failure.h"
#include "riff.h"

namespace vekbf_tool {

namespace fs = std::filesystem;

namespace {

std::string format_name(int format) {
  SF_FORMAT_INFO container{format & SF_FORMAT_TYPEMASK, nullptr, nullptr};
  SF_FORMAT_INFO encoding{format & SF_FORMAT_SUBMASK, nullptr, nullptr};
  sf_command(nullptr, SFC_GET_FORMAT_INFO, &container, sizeof container);
  sf_command(nullptr, SFC_GET_FORMAT_INFO, &encoding, sizeof encoding);
  return std::string(container.name != nullptr ? container.name : "unknown") + ", " +
         (encoding.name != nullptr ? encoding.name : "unknown");
}

bool is_readable_wav(int format) {
  const int container = format & SF_FORMAT_TYPEMASK;
  const int encoding = format & SF_FORMAT_SUBMASK;
  return (container == SF_FORMAT_WAV || container == SF_FORMAT_WAVEX ||
          container == SF_FORMAT_RF64) &&
         (encoding == SF_FORMAT_PCM_16 || encoding == SF_FORMAT_PCM_24 ||
          encoding == SF_FORMAT_PCM_32 || encoding == SF_FORMAT_FLOAT ||
          encoding == SF_FORMAT_DOUBLE);
}

std::uint64_t bytes_per_sample(int format) {
  switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_16:
      return 2;
    case SF_FORMAT_PCM_24:
      return 3;
    case SF_FORMAT_DOUBLE:
      return 8;
    default:
      return 4;
  }
}

std::uint64_t audio_bytes(const SF_INFO& info) {
  return static_cast<std::uint64_t>(info.frames) * static_cast<std::uint64_t>(info.channels) *
         bytes_per_sample(info.format);
}

}  // namespace

InputFile::InputFile(const std::string& path) : path_(path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (!fs::exists(status)) throw RunError("there is no file '" + path + "'");
  if (fs::is_directory(status)) throw RunError("'" + path + "' is a directory, not a WAV file");
  if (fs::is_regular_file(status) && fs::file_size(path, error) == 0)
    throw RunError("'" + path + "' is empty");

  file_ = open_to_read(path, info_, "cannot read '" + path + "' as a WAV file");
  if (!is_readable_wav(info_.format)) {
    throw RunError("'" + path + "' is " + format_name(info_.format) +
                   "; a WAV file of 16, 24 or 32-bit or float samples is needed");
  }
  if (is_cut_off(path))
    throw RunError("'" + path + "' is cut off: its header promises more audio than it holds");
  if (info_.frames <= 0) throw RunError("'" + path + "' holds no audio");
  left_ = info_.frames;
  openEnded_ = !fs::is_regular_file(status) && is_unknown_length(audio_bytes(info_));
}

std::size_t InputFile::read(double* samples, std::size_t frames) {
  const sf_count_t wanted = std::min(static_cast<sf_count_t>(frames), left_);
  const sf_count_t got = sf_readf_double(file_.get(), samples, wanted);
  if (got != wanted && sf_error(file_.get()) != SF_ERR_NO_ERROR) {
    throw RunError("cannot read '" + path_ + "' to its end: " + sf_strerror(file_.get()));
  }
  if (got != wanted && !openEnded_) {
    throw RunError("'" + path_ + "' is cut off: its header promises more audio than it holds");
  }
  left_ -= got;
  return static_cast<std::size_t>(got);
}

}  // namespace vekbf_tool
