// SPDX-License-Identifier: MIT
#include "beam_run.h"

#include <array>
#include <memory>
#include <vector>

#include "failure.h"
#include "interruption.h"

namespace vekbf_tool {

namespace {

constexpr std::size_t kFrames = VEK_BF_BLOCK_FRAMES;

struct CloseStream {
  void operator()(VekStream* stream) const { VekStream_Close(stream); }
};
using Stream = std::unique_ptr<VekStream, CloseStream>;

void expect_none(const char* fault, const Source& input) {
  if (fault != nullptr) throw RunError(input.name() + ": " + fault);
}

Stream open_stream(const Settings& settings, const Source& input) {
  VekStream* stream = nullptr;
  const auto rate = static_cast<std::uint32_t>(input.sampleRate());
  expect_none(VekStream_Open(settings.get(), rate, input.channels(), &stream), input);
  return Stream(stream);
}

void pass_on(VekStream* stream, Sink& sink) {
  std::array<std::int16_t, kFrames> beam{};
  while (const std::size_t count =
             VekStream_Read(stream, VEK_STREAM_S16, beam.data(), 1, beam.size())) {
    sink.write(beam.data(), count);
  }
}

void tell(const VekStream* stream, long long frames, const Listener& listener) {
  VekDirState state{};
  if (VekStream_GetDirection(stream, &state) != 0) listener(frames, state);
}

RunCounts counts_of(const VekStream* stream) {
  RunCounts counts;
  VekStream_GetCounts(stream, &counts);
  return counts;
}

}  // namespace

void check_source(const Settings& settings, const Source& input) {
  const auto rate = static_cast<std::uint32_t>(input.sampleRate());
  expect_none(VekStream_Check(settings.get(), rate, input.channels()), input);
}

RunCounts run_beam(const Settings& settings, Source& input, Sink& sink, Until until,
                   const Listener& listener) {
  const Stream stream = open_stream(settings, input);
  std::vector<double> samples(static_cast<std::size_t>(input.channels()) * kFrames);
  const auto wrapped = [&] {
    return until == Until::firstWrap && counts_of(stream.get()).wraps > 0;
  };
  long long frames = 0;
  if (listener) listener(frames, {VekStream_GetAngle(stream.get()), 0, 0.0f, 0});
  while (const std::size_t got = input.read(samples.data(), kFrames)) {
    VekStream_WriteInterleaved(stream.get(), VEK_STREAM_F64, samples.data(), got);
    pass_on(stream.get(), sink);
    frames += static_cast<long long>(got);
    if (listener && got == kFrames) tell(stream.get(), frames, listener);
    if (got < kFrames || interrupted() || wrapped()) break;
  }
  const bool cutShort = interrupted();
  if (!cutShort && !wrapped()) {
    VekStream_Finish(stream.get());
    pass_on(stream.get(), sink);
  }
  RunCounts counts = counts_of(stream.get());
  counts.cutShort = cutShort;
  return counts;
}

}  // namespace vekbf_tool
