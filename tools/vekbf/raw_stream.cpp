// SPDX-License-Identifier: MIT
#include "raw_stream.h"

#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>

#include "failure.h"
#include "interruption.h"
#include "text.h"
#include "write_all.h"

namespace vekbf_tool {

namespace {

// From little-endian to the machine's order, or back.
std::int16_t in_order(std::int16_t sample) {
  if constexpr (std::endian::native == std::endian::little) return sample;
  const auto bits = static_cast<std::uint16_t>(sample);
  return static_cast<std::int16_t>(bits << 8 | bits >> 8);
}

}  // namespace

RawInput::RawInput(int descriptor, int channels, int sampleRate)
    : descriptor_(descriptor), channels_(channels), sampleRate_(sampleRate) {}

std::size_t RawInput::read(double* samples, std::size_t frames) {
  const auto width = static_cast<std::size_t>(channels_);
  samples_.resize(frames * width);
  const std::size_t wanted = samples_.size() * sizeof samples_[0];
  std::size_t have = 0;
  while (have < wanted) {
    if (!wait_readable(descriptor_)) return 0;
    char* const next = reinterpret_cast<char*>(samples_.data()) + have;
    const ssize_t got = ::read(descriptor_, next, wanted - have);
    if (got == 0) break;
    if (got > 0) {
      have += static_cast<std::size_t>(got);
    } else if (errno != EINTR && errno != EAGAIN) {
      throw RunError(std::string("cannot read standard input: ") + std::strerror(errno));
    }
  }
  const std::size_t frameBytes = width * sizeof samples_[0];
  if (have % frameBytes != 0) {
    say("note: standard input ends within a frame; its last " +
        counted(static_cast<long long>(have % frameBytes), "byte") + " are left out");
  }
  const std::size_t whole = have / frameBytes;
  for (std::size_t i = 0; i < whole * width; i++) samples[i] = in_order(samples_[i]) / 32768.0;
  return whole;
}

void RawOutput::write(const std::int16_t* samples, std::size_t count) {
  bytes_.resize(count);
  std::transform(samples, samples + count, bytes_.begin(), in_order);
  if (!write_all(descriptor_, bytes_.data(), count * sizeof bytes_[0], finish_interrupted())) {
    throw Interruption("interrupted: what is done so far is in " + finish_interrupted());
  }
}

}  // namespace vekbf_tool
