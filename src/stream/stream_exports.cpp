// SPDX-License-Identifier: MIT
//
// The exported functions of streams.
#include <stdlib.h>

#include <new>

#include "stream/settings.h"
#include "stream/stream.h"

using namespace vekbf::stream;

namespace {

VekStream* new_stream(const Values& values, uint32_t sampleRate, int32_t channels) {
  void* memory = malloc(sizeof(VekStream));
  if (memory == nullptr) return nullptr;
  auto* stream = new (memory) VekStream{};
  stream->array = array_of(values, sampleRate);
  stream->config = config_of(values);
  stream->channels = channels;
  const Picks picks = picks_of(values);
  for (int32_t m = 0; m < values.micCount; m++) {
    stream->picks[m] = picks.count > 0 ? picks.channel[m] - 1 : m;
  }
  stream->firstAngle = first_angle_of(values);
  stream->listener.firstAngle = stream->firstAngle;
  stream->listener.config = direction_of(values);
  stream->keepTime = values.keepTime;
  stream->conversion.scale = scale_of(values.preGain);
  const bool listens = !values.findAngle || open_listener(stream->listener);
  if (listens && copy_track(values.track, stream->track) && start(*stream)) return stream;
  VekStream_Close(stream);
  return nullptr;
}

Source planar_source(const VekStream& stream, int32_t format, const void* const channels[],
                     ptrdiff_t stride) {
  Source source{format, {}, stride};
  for (int32_t m = 0; m < stream.array.micNum; m++) {
    source.mic[m] = channels != nullptr ? channels[stream.picks[m]] : nullptr;
  }
  return source;
}

Source interleaved_source(const VekStream& stream, int32_t format, const void* samples) {
  Source source{format, {}, stream.channels};
  for (int32_t m = 0; m < stream.array.micNum; m++) {
    const size_t offset = static_cast<size_t>(stream.picks[m]) * sample_size(format);
    source.mic[m] = samples != nullptr ? static_cast<const char*>(samples) + offset : nullptr;
  }
  return source;
}

// True if the stream works in this way of time; the first call decides which one that is.
bool takes(VekStream& stream, Timing timing) {
  if (stream.timing == Timing::kUndecided) stream.timing = timing;
  return stream.timing == timing;
}

size_t write_frames(VekStream& stream, const Source& source, size_t frames) {
  if (sample_size(source.format) == 0 || stream.finished) return 0;
  return takes(stream, Timing::kLinedUp) ? write(stream, source, 0, frames) : 0;
}

void process_frames(VekStream* stream, const Source& source, void* out, ptrdiff_t outStride,
                    size_t frames) {
  if (sample_size(source.format) == 0 || out == nullptr) return;
  if (stream != nullptr && takes(*stream, Timing::kConstantDelay)) {
    process(*stream, source, out, outStride, frames);
  } else {
    give_silence(source.format, frames, out, outStride, 0);
  }
}

}  // namespace

// -fvisibility=hidden hides all other symbols.
#pragma GCC visibility push(default)

const char* VekStream_Open(VekStreamSettings* settings, uint32_t sampleRate, int32_t channels,
                           VekStream** stream) {
  if (stream == nullptr) return "a stream is written to a pointer, which is null";
  *stream = nullptr;
  if (settings == nullptr) return "there are no settings: out of memory";
  Message& message = settings->message;
  message.clear();
  // The settings take 0 for "not known yet"; here both are known.
  if (sampleRate == 0 || channels == 0) {
    message << (sampleRate == 0 ? "the sample rate is 8000 to 48000 Hz, not 0"
                                : "the sound has 1 to 64 channels, not 0");
    return message.line();
  }
  if (!check(settings->values, sampleRate, channels, message)) return message.line();
  *stream = new_stream(settings->values, sampleRate, channels);
  if (*stream != nullptr) return nullptr;
  message << kNoMemory;
  return message.line();
}

const char* VekStream_Restart(VekStream* stream) {
  if (stream == nullptr) return "there is no stream";
  stop(*stream);
  return start(*stream) ? nullptr : kNoMemory;
}

void VekStream_Close(VekStream* stream) {
  if (stream == nullptr) return;
  stop(*stream);
  release(stream->track);
  close_listener(stream->listener);
  free(stream);
}

void VekStream_Steer(VekStream* stream, int32_t degrees) {
  if (stream == nullptr) return;
  stream->steeredAngle.store(degrees, std::memory_order_relaxed);
  stream->steered.store(1, std::memory_order_release);
}

void VekStream_SteerAsSet(VekStream* stream) {
  if (stream != nullptr) stream->steered.store(0, std::memory_order_release);
}

int32_t VekStream_GetDirection(const VekStream* stream, VekDirState* state) {
  const bool listens = stream != nullptr && is_open(stream->listener);
  if (state != nullptr) *state = listens ? stream->listener.state.read() : kNothingHeard;
  return listens ? 1 : 0;
}

void VekStream_PauseDirection(VekStream* stream, int32_t on) {
  if (stream != nullptr) stream->listener.pause.store(on, std::memory_order_relaxed);
}

int32_t VekStream_GetMap(VekStream* stream, float map[VEK_DIR_MAP_DEGREES]) {
  if (stream == nullptr || map == nullptr || !is_open(stream->listener)) return 0;
  return static_cast<int32_t>(VekDir_GetMap(stream->listener.finder, map) == VEK_DIR_OK);
}

int32_t VekStream_GetAngle(const VekStream* stream) {
  return stream != nullptr ? stream->angle.load(std::memory_order_relaxed) : 0;
}

size_t VekStream_Write(VekStream* stream, int32_t format, const void* const channels[],
                       ptrdiff_t stride, size_t frames) {
  if (stream == nullptr) return 0;
  return write_frames(*stream, planar_source(*stream, format, channels, stride), frames);
}

size_t VekStream_WriteInterleaved(VekStream* stream, int32_t format, const void* samples,
                                  size_t frames) {
  if (stream == nullptr) return 0;
  return write_frames(*stream, interleaved_source(*stream, format, samples), frames);
}

size_t VekStream_Read(VekStream* stream, int32_t format, void* out, ptrdiff_t stride,
                      size_t count) {
  if (stream == nullptr || out == nullptr || sample_size(format) == 0) return 0;
  if (stream->timing == Timing::kConstantDelay) return 0;
  return read(*stream, format, out, stride, 0, count);
}

size_t VekStream_Available(const VekStream* stream) {
  if (stream == nullptr || stream->timing == Timing::kConstantDelay) return 0;
  // Samples lag behind their frames; at the end the ring also holds some that belong to none.
  return stream->finished ? static_cast<size_t>(stream->unread) : stream->ringCount;
}

void VekStream_Finish(VekStream* stream) {
  if (stream != nullptr && takes(*stream, Timing::kLinedUp)) stream->finished = true;
}

size_t VekStream_FramesToBlock(const VekStream* stream) {
  return stream != nullptr ? kBlock - stream->inFrames : 0;
}

void VekStream_Process(VekStream* stream, int32_t format, const void* const channels[],
                       ptrdiff_t stride, void* out, ptrdiff_t outStride, size_t frames) {
  const Source source =
      stream != nullptr ? planar_source(*stream, format, channels, stride) : Source{format, {}, 0};
  process_frames(stream, source, out, outStride, frames);
}

void VekStream_ProcessInterleaved(VekStream* stream, int32_t format, const void* samples, void* out,
                                  size_t frames) {
  const Source source =
      stream != nullptr ? interleaved_source(*stream, format, samples) : Source{format, {}, 0};
  process_frames(stream, source, out, 1, frames);
}

void VekStream_GetCounts(const VekStream* stream, VekStreamCounts* counts) {
  if (counts == nullptr) return;
  *counts = VekStreamCounts{};
  if (stream == nullptr) return;
  *counts = stream->counts;
  counts->clipped = stream->conversion.clipped;
  counts->notNumbers = stream->conversion.notNumbers;
}

#pragma GCC visibility pop
