// SPDX-License-Identifier: MIT
#include "support/signals.h"

#include <algorithm>
#include <cstdlib>

namespace vekbf::test {

namespace {

int16_t clip(int32_t value) {
  return static_cast<int16_t>(std::clamp<int32_t>(value, INT16_MIN, INT16_MAX));
}

// A sine's parabola; 2^32 is a full turn.
int32_t sine(uint32_t phase) {
  const int32_t x = static_cast<int32_t>(phase) >> 16;
  return std::clamp((x * (32768 - std::abs(x))) >> 13, -32767, 32767);
}

// Resonators y = x + (a1 y1 + a2 y2) / 2^14 with a pole radius of 0.97.
constexpr int32_t kA2 = -15416;
constexpr int32_t kA1[5][3] = {{31566, 28900, 17000},
                               {31175, 27000, 14000},
                               {30592, 24500, 12500},
                               {30000, 22000, 15500},
                               {29300, 26000, 11000}};
constexpr int32_t kPulse[3] = {1200, 900, 500};

}  // namespace

const char* name_of(SignalKind kind) {
  constexpr const char* kNames[kSignalKinds] = {
      "noise",  "fullscale", "identical", "ends",   "onebit",   "sparse", "tone", "chirp",
      "talker", "void",      "twotalk",   "clicks", "constant", "onset",  "mixed"};
  return kNames[static_cast<int>(kind)];
}

void Voice::begin_segment() {
  if (segment_ != Segment::kPause) {
    segment_ = Segment::kPause;
    left_ = syllables_ > 0 ? 128 * (1 + random_.below(6)) : 128 * (15 + random_.below(40));
    return;
  }
  if (syllables_ == 0) syllables_ = 3 + random_.below(6);
  --syllables_;
  segment_ = random_.below(4) == 0 ? Segment::kHiss : Segment::kVoiced;
  left_ = 128 * (8 + random_.below(20));
  vowel_ = random_.below(5);
  period_ = 60 + random_.below(120);
  countdown_ = 1;
  envelope_ = 0;
  y1_.fill(0);
  y2_.fill(0);
}

int32_t Voice::next() {
  if (left_ == 0) begin_segment();
  --left_;
  if (segment_ == Segment::kPause) return 0;
  if (left_ % 2 == 0 && envelope_ < 256) ++envelope_;
  const int envelope = std::min(envelope_, left_ / 4);
  int32_t sum = 0;
  if (segment_ == Segment::kVoiced) {
    const int32_t breath = random_.below(33) - 16;
    const bool pulse = --countdown_ == 0;
    if (pulse) countdown_ = period_ + random_.below(3) - 1;
    for (size_t i = 0; i < 3; ++i) {
      const int32_t x = (pulse ? kPulse[i] : 0) + breath;
      const int64_t feedback = int64_t{kA1[vowel_][i]} * y1_[i] + int64_t{kA2} * y2_[i];
      const int32_t y = x + static_cast<int32_t>(feedback >> 14);
      y2_[i] = y1_[i];
      y1_[i] = y;
      sum += y;
    }
  } else {
    const int32_t noise = random_.below(3001) - 1500;
    sum = noise - last_;
    last_ = noise;
  }
  return sum * envelope / 256;
}

Signal::Signal(SignalKind kind, uint64_t seed, int channels)
    : kind_(kind),
      channels_(channels),
      random_(seed),
      voice_(random_.next()),
      other_voice_(random_.next()),
      delay_(random_.below(8)),
      gain_(1 << random_.below(3)),
      step_(random_.next32() >> 2) {}

void Signal::block(int16_t* out) {
  SignalKind kind = kind_;
  if (kind == SignalKind::kMixed) {
    kind = static_cast<SignalKind>((blocks_ / 32) * 7 % (kSignalKinds - 1));
  }
  fill(kind, out);
  ++blocks_;
}

// Voices that reach microphone 0 first (the second one last), each microphone with its own noise.
void Signal::passing(int16_t* out, bool second_talker, int noise_peak) {
  for (int t = 0; t < kHopSize; ++t) {
    line_.push(voice_.next() * gain_);
    if (second_talker) other_line_.push(other_voice_.next() * gain_);
    for (int c = 0; c < channels_; ++c) {
      int32_t value = line_.at(c * delay_) + random_.below(2 * noise_peak + 1) - noise_peak;
      if (second_talker) value += other_line_.at((channels_ - 1 - c) * 5);
      *out++ = clip(value);
    }
  }
}

void Signal::fill(SignalKind kind, int16_t* out) {
  const int count = kHopSize * channels_;
  switch (kind) {
    case SignalKind::kNoise:
      for (int i = 0; i < count; ++i) out[i] = clip(random_.below(16001) - 8000);
      return;
    case SignalKind::kFullScale:
      for (int i = 0; i < count; ++i) out[i] = random_.sample();
      return;
    case SignalKind::kIdentical:
      for (int t = 0; t < kHopSize; ++t) {
        std::fill_n(out + t * channels_, channels_, random_.sample());
      }
      return;
    case SignalKind::kEnds:
      for (int i = 0; i < count; ++i) out[i] = random_.sample() < 0 ? INT16_MIN : INT16_MAX;
      return;
    case SignalKind::kOneBit:
      for (int i = 0; i < count; ++i) out[i] = clip(random_.below(3) - 1);
      return;
    case SignalKind::kSparse:
      std::fill_n(out, count, int16_t{0});
      if (random_.below(8) != 0) out[random_.below(kHopSize)] = 1;
      return;
    case SignalKind::kTone:
      for (int t = 0; t < kHopSize; ++t) {
        line_.push(sine(phase_) >> 1);
        phase_ += step_;
        for (int c = 0; c < channels_; ++c) {
          *out++ = clip(line_.at(c * delay_) + random_.below(41) - 20);
        }
      }
      return;
    case SignalKind::kChirp:
      for (int t = 0; t < kHopSize; ++t) {
        std::fill_n(out + t * channels_, channels_, clip(sine(phase_)));
        phase_ += step_;
        step_ += 20011;
      }
      return;
    case SignalKind::kTalker:
      return passing(out, false, 30);
    case SignalKind::kTalkerInVoid:
      return passing(out, false, 0);
    case SignalKind::kTwoTalkers:
      return passing(out, true, 100);
    case SignalKind::kClicks:
      for (int i = 0; i < count; ++i) {
        out[i] = random_.below(1000) == 0 ? INT16_MAX : clip(random_.below(3) - 1);
      }
      return;
    case SignalKind::kConstant:
      std::fill_n(out, count, clip(4000 * gain_ - 20000));
      return;
    case SignalKind::kOnset:
      return fill(blocks_ % 64 < 48 ? SignalKind::kOneBit : SignalKind::kFullScale, out);
    case SignalKind::kMixed:
      break;
  }
}

}  // namespace vekbf::test
