// SPDX-License-Identifier: MIT
//
// Blocks of 128 frames cut from chunks of any length: one place for lag, tail, silence and the
// angle of a block.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "base/sizes.h"
#include "stream/angle_track.h"
#include "stream/listener.h"
#include "stream/sample_format.h"
#include "vek_stream.h"

namespace vekbf::stream {

inline constexpr size_t kBlock = kHopSize;
inline constexpr size_t kRingLength = VEK_STREAM_ROOM;  // whole blocks
static_assert(kRingLength % kBlock == 0);
static_assert(VEK_STREAM_DELAY == VEK_BF_LAG_SAMPLES + kBlock - 1);
static_assert(std::atomic<int32_t>::is_always_lock_free);

// The host's samples: one pointer for each microphone.
struct Source {
  int32_t format;
  const void* mic[kMaxMics];
  ptrdiff_t stride;
};

enum class Timing { kUndecided, kLinedUp, kConstantDelay };

}  // namespace vekbf::stream

struct VekStream {
  // From the settings; constant.
  VekBfInit array;
  VekBfConfig config;
  int32_t channels;                 // of the host's frames
  int32_t picks[vekbf::kMaxMics];   // channel of each microphone, from 0
  int32_t firstAngle;               // degrees; used unless the finder steers
  vekbf::stream::AngleTrack track;  // owned
  bool keepTime;

  // Set by any thread. `steered` is written after `steeredAngle`; 0 means that the settings steer.
  std::atomic<int32_t> steeredAngle;
  std::atomic<int32_t> steered;
  std::atomic<int32_t> angle;  // of the block that was begun last

  vekbf::stream::Listener listener;

  // From here on cleared by a restart.
  VekBfHandle beam;  // in `workBuffer`; null when memory ran out
  vekbf::stream::Timing timing;
  bool finished;
  size_t nextTurn;  // of the track

  int16_t in[vekbf::kMaxMics * vekbf::stream::kBlock];  // the block being filled
  size_t inFrames;
  vekbf::stream::Conversion conversion;

  int16_t ring[vekbf::stream::kRingLength];  // samples to be read; blocks begin at whole blocks
  size_t ringBegin;
  size_t ringCount;
  size_t lag;          // samples still to be dropped before the first one; whole blocks
  size_t silence;      // zeros still to be given before the first sample (constant delay)
  uint64_t unread;     // frames taken whose samples have not been read
  int16_t lastSample;  // that was read
  VekStreamCounts counts;

  alignas(8) unsigned char workBuffer[vekbf::kWorkBufferSize];
};

namespace vekbf::stream {

// Makes the beamformer and clears all signal history. False if out of memory.
bool start(VekStream& stream);
// Releases the beamformer.
void stop(VekStream& stream);

// Puts the angle of the block that begins with the next frame into `angle`.
void choose_angle(VekStream& stream);

// Takes up to `frames` frames from frame `first` of the source on, as many as there is room for.
size_t write(VekStream& stream, const Source& source, size_t first, size_t frames);
// Gives up to `count` samples from place `first` of `out` on.
size_t read(VekStream& stream, int32_t format, void* out, ptrdiff_t stride, size_t first,
            size_t count);
// Constant delay: `frames` in, as many out.
void process(VekStream& stream, const Source& source, void* out, ptrdiff_t outStride,
             size_t frames);

}  // namespace vekbf::stream
