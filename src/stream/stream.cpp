// SPDX-License-Identifier: MIT
#include "stream/stream.h"

#include <algorithm>
#include <cstring>

#include "api/apply_config.h"
#include "base/framing.h"
#include "simd/float_mode.h"

namespace vekbf::stream {

namespace {

constexpr int kWrapStep = 32768;  // half the range

size_t mic_count(const VekStream& stream) { return static_cast<size_t>(stream.array.micNum); }

void begin_block(VekStream& stream) {
  choose_angle(stream);
  stream.counts.blocks++;
}

void take_frames(VekStream& stream, const Source& source, size_t first, size_t frames) {
  const size_t mics = mic_count(stream);
  for (size_t m = 0; m < mics; m++) {
    take_samples(stream.conversion, source.format, source.mic[m], source.stride, first, frames,
                 stream.in + stream.inFrames * mics + m, mics);
  }
  stream.inFrames += frames;
}

bool has_room(const VekStream& stream) { return stream.ringCount + kBlock <= kRingLength; }

// Runs the block that has been filled, and puts what comes out into the ring, which has room.
void run_block(VekStream& stream) {
  int16_t* out = stream.ring + (stream.ringBegin + stream.ringCount) % kRingLength;
  if (stream.beam != nullptr) {
    VekBf_Run(stream.beam, stream.in, out, stream.angle.load(std::memory_order_relaxed));
  } else {
    std::memset(out, 0, kBlock * sizeof out[0]);
  }
  stream.inFrames = 0;
  if (stream.lag > 0) {
    stream.lag -= kBlock;  // the samples in the ring are overwritten by the next block's
  } else {
    stream.ringCount += kBlock;
  }
}

void run_signal_block(VekStream& stream) {
  if (is_zero_block(stream.in)) {
    stream.counts.zeroBlocks++;
    // Changes one square by an odd number, so that the sum of squares is no longer 0 modulo 2^32.
    if (stream.keepTime) stream.in[0] = static_cast<int16_t>(stream.in[0] ^ 1);
  }
  // What is found steers the next block: the angle of this one was chosen with its first frame.
  listen(stream.listener, stream.in);
  run_block(stream);
}

// One more block after the end of the signal: first the block that was begun, padded with zeros;
// then blocks of zeros with a single 1, because the library drops blocks that are all zeros.
void run_tail_block(VekStream& stream) {
  const size_t begun = stream.inFrames * mic_count(stream);
  std::memset(stream.in + begun, 0, sizeof stream.in - begun * sizeof stream.in[0]);
  if (begun > 0) {
    run_signal_block(stream);
  } else {
    stream.in[0] = 1;
    run_block(stream);
  }
}

void count_wraps(VekStream& stream, const int16_t* samples, size_t count) {
  for (size_t i = 0; i < count; i++) {
    const int step = samples[i] - stream.lastSample;
    if (step > kWrapStep || step < -kWrapStep) stream.counts.wraps++;
    stream.lastSample = samples[i];
  }
}

}  // namespace

bool start(VekStream& stream) {
  stream.timing = Timing::kUndecided;
  stream.finished = false;
  stream.nextTurn = 0;
  stream.inFrames = 0;
  stream.conversion.clipped = 0;
  stream.conversion.notNumbers = 0;
  stream.ringBegin = 0;
  stream.ringCount = 0;
  stream.lag = VEK_BF_LAG_SAMPLES;
  stream.silence = VEK_STREAM_DELAY;
  stream.unread = 0;
  stream.lastSample = 0;
  stream.counts = {};
  start_listener(stream.listener, stream.array);
  choose_angle(stream);

  stream.beam = VekBf_Init(stream.workBuffer, &stream.array);
  // The settings have been checked, so only memory can be missing; the code does not report that.
  const bool accepted = VekBf_SetConfig(stream.beam, &stream.config) == VEK_BF_OK;
  // GCOVR_EXCL_BR_START: a beam that has its states was accepted
  if (accepted && has_states(*stream.beam)) return true;
  // GCOVR_EXCL_BR_STOP
  stop(stream);
  return false;
}

void stop(VekStream& stream) {
  if (stream.beam != nullptr) VekBf_Free(stream.beam);
  stream.beam = nullptr;
}

void choose_angle(VekStream& stream) {
  int32_t angle = 0;
  if (stream.steered.load(std::memory_order_acquire) != 0) {
    angle = stream.steeredAngle.load(std::memory_order_relaxed);
  } else if (is_open(stream.listener)) {
    angle = found_angle(stream.listener);
  } else {
    const double seconds =
        static_cast<double>(stream.counts.frames) / static_cast<double>(stream.array.sampleRate);
    angle = angle_at(stream.track, stream.nextTurn, seconds, stream.firstAngle);
  }
  stream.angle.store(angle, std::memory_order_relaxed);
}

size_t write(VekStream& stream, const Source& source, size_t first, size_t frames) {
  const ScopedIeeeMode mode;
  size_t taken = 0;
  while (taken < frames) {
    size_t part = std::min(frames - taken, kBlock - stream.inFrames);
    // A full block is run at once. While the ring has no room, one frame is left to be filled.
    if (!has_room(stream)) part = std::min(part, kBlock - 1 - stream.inFrames);
    if (part == 0) break;
    if (stream.inFrames == 0) begin_block(stream);
    take_frames(stream, source, first + taken, part);
    taken += part;
    stream.counts.frames += part;
    if (stream.inFrames == kBlock) run_signal_block(stream);
  }
  stream.unread += taken;
  return taken;
}

size_t read(VekStream& stream, int32_t format, void* out, ptrdiff_t stride, size_t first,
            size_t count) {
  size_t given = 0;
  if (stream.unread < count) count = static_cast<size_t>(stream.unread);
  while (given < count) {
    if (stream.ringCount == 0) {
      if (!stream.finished) break;
      run_tail_block(stream);
      continue;
    }
    const size_t toEnd = kRingLength - stream.ringBegin;
    const size_t part = std::min({count - given, stream.ringCount, toEnd});
    const int16_t* samples = stream.ring + stream.ringBegin;
    give_samples(format, samples, part, out, stride, first + given);
    count_wraps(stream, samples, part);
    given += part;
    stream.ringBegin = (stream.ringBegin + part) % kRingLength;
    stream.ringCount -= part;
  }
  stream.unread -= given;
  return given;
}

void process(VekStream& stream, const Source& source, void* out, ptrdiff_t outStride,
             size_t frames) {
  for (size_t done = 0; done < frames;) {
    // Slices of a block fit the ring, which holds at most 127 samples here. Each slice is read
    // before its samples are written, so `out` may be the same memory as the source.
    const size_t slice = std::min(frames - done, kBlock);
    const size_t silent = std::min(slice, stream.silence);
    write(stream, source, done, slice);
    give_silence(source.format, silent, out, outStride, done);
    stream.silence -= silent;
    read(stream, source.format, out, outStride, done + silent, slice - silent);
    done += slice;
  }
}

}  // namespace vekbf::stream
