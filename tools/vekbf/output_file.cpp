// SPDX-License-Identifier: MIT
#include "output_file.h"

#include "failure.h"

namespace vekbf_tool {

namespace {

constexpr long long kPlainHeaderBytes = 44;
constexpr long long kMostRiffBytes = 0xffffffff + 8LL;  // the size field leaves out the first 8

bool fits_riff(long long frames) {
  return frames <= (kMostRiffBytes - kPlainHeaderBytes) / static_cast<long long>(sizeof(short));
}

}  // namespace

OutputFile::OutputFile(const std::string& path, int sampleRate, std::optional<long long> frames)
    : part_(path) {
  SF_INFO info{};
  info.samplerate = sampleRate;
  info.channels = 1;
  const bool plain = frames && fits_riff(*frames);
  info.format = (plain ? SF_FORMAT_WAV : SF_FORMAT_RF64) | SF_FORMAT_PCM_16;
  file_ = open_to_write(part_.descriptor(), info, "cannot write '" + part_.path() + "'");
  if (!plain) sf_command(file_.get(), SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
}

void OutputFile::write(const std::int16_t* samples, std::size_t count) {
  const auto frames = static_cast<sf_count_t>(count);
  if (sf_writef_short(file_.get(), samples, frames) != frames) {
    throw RunError("cannot write '" + part_.path() + "': " + sf_strerror(file_.get()));
  }
}

void OutputFile::close() {
  const int closed = sf_close(file_.release());
  if (closed != 0)
    throw RunError("cannot write '" + part_.path() + "': " + sf_error_number(closed));
}

std::string OutputFile::finish_interrupted() {
  close();
  return part_.keep();
}

void OutputFile::commit() {
  close();
  part_.commit();
}

}  // namespace vekbf_tool
