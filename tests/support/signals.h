// SPDX-License-Identifier: MIT
//
// Test audio made by integer arithmetic alone, so that it is the same on every machine, compiler
// and mathematics library.
#pragma once

#include <array>
#include <cstdint>

#include "base/sizes.h"
#include "support/random.h"

namespace vekbf::test {

enum class SignalKind {
  kNoise,         // independent noise of moderate level
  kFullScale,     // independent noise over the whole 16-bit range
  kIdentical,     // the same full-scale noise in every channel
  kEnds,          // -32768 or 32767 at random: the loudest signal there is
  kOneBit,        // -1, 0 and 1
  kSparse,        // a single 1 per block, now and then none: nearly silence
  kTone,          // a tone that passes the array, in noise
  kChirp,         // a full-scale sweep, the same in every channel
  kTalker,        // a voice that passes the array, in noise
  kTalkerInVoid,  // the same with exact zeros in its pauses
  kTwoTalkers,    // a second voice from the other side
  kClicks,        // rare full-scale clicks on top of one-bit noise
  kConstant,      // the same value for ever
  kOnset,         // long one-bit noise, then bursts at full scale
  kMixed,         // another of the above every 32 blocks
};
inline constexpr int kSignalKinds = 15;

const char* name_of(SignalKind kind);

// Something between a voice and a machine: pulse trains or noise through three resonators, in
// syllables, phrases and pauses.
class Voice {
 public:
  explicit Voice(uint64_t seed) : random_(seed) {}
  int32_t next();

 private:
  enum class Segment { kPause, kVoiced, kHiss };
  void begin_segment();

  Random random_;
  Segment segment_ = Segment::kPause;
  int left_ = 0;       // samples left of the segment
  int envelope_ = 0;   // 0 to 256
  int syllables_ = 0;  // left of the phrase
  int vowel_ = 0;
  int period_ = 100;  // samples from pulse to pulse
  int countdown_ = 1;
  int32_t last_ = 0;
  std::array<int32_t, 3> y1_{};
  std::array<int32_t, 3> y2_{};
};

class DelayLine {
 public:
  void push(int32_t value) { ring_[++newest_ % kLength] = value; }
  int32_t at(int delay) const { return ring_[(newest_ - static_cast<uint32_t>(delay)) % kLength]; }

 private:
  static constexpr uint32_t kLength = 64;
  std::array<int32_t, kLength> ring_{};
  uint32_t newest_ = 0;
};

// A stream of blocks of kHopSize frames of `channels` (1 to 4) interleaved channels.
class Signal {
 public:
  Signal(SignalKind kind, uint64_t seed, int channels);
  void block(int16_t* out);

 private:
  void fill(SignalKind kind, int16_t* out);
  void passing(int16_t* out, bool second_talker, int noise_peak);

  SignalKind kind_;
  int channels_;
  Random random_;
  Voice voice_;
  Voice other_voice_;
  DelayLine line_;
  DelayLine other_line_;
  int delay_;  // samples from microphone to microphone
  int gain_;   // of the voices; the sum is clipped
  uint32_t phase_ = 0;
  uint32_t step_;
  uint32_t blocks_ = 0;
};

}  // namespace vekbf::test
