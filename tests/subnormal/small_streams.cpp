// SPDX-License-Identifier: MIT
#include "subnormal/small_streams.h"

#include <algorithm>
#include <climits>
#include <iterator>

namespace vekbf::test {

namespace {

template <class T, size_t kCount>
T pick(Random& random, const T (&values)[kCount]) {
  return values[random.below(static_cast<int>(kCount))];
}

constexpr float kSpacings[] = {0.08f, 0.035f, 0.01f, 0.01f, 0.005f, 1e-3f, 1e-9f, 1e-15f, 1e-20f};
constexpr uint32_t kRates[] = {8000, 8000, 10239, 10240, 11025, 16000, 16000, 44100, 48000};
constexpr int32_t kSpeeds[] = {343, 343, 343, 1, 100000, INT_MAX};
constexpr int32_t kAngles[] = {90, 90, 90, -90, 270, 0, 180, 60, 89, INT_MIN};
constexpr int kLevels[] = {1, 1, 1, 2, 3, 100, 1000, 32767};
constexpr int kLengths[] = {1, 2, 3, 4, 10, 60, 400, 3000};

// Signs that add up to nothing, for two, three and four channels.
constexpr int kSigns[5][4] = {{}, {1}, {1, -1}, {1, -1, 0}, {1, -1, 1, -1}};

}  // namespace

SmallStream::SmallStream(uint64_t seed) : random_(seed) {
  init_.sampleRate = pick(random_, kRates);
  init_.bitWidth = 16;
  init_.micNum = 1 + random_.below(4);
  init_.soundSpeed = pick(random_, kSpeeds);
  init_.algorithm = random_.below(16) == 0 ? VEK_FIXED_BF : VEK_ADAPTIVE_BF;
  init_.geometry =
      random_.below(4) == 0 ? VEK_BF_UNIFORM_TRIANGLE_ARRAY : VEK_BF_UNIFORM_LINEAR_ARRAY;
  const float spacing = pick(random_, kSpacings);
  const float origin = random_.below(4) == 0 ? 0.06f : 0.0f;
  for (int m = 0; m < VEK_BF_MAX_MICS; ++m) {
    init_.micCoordinate[m][0] = origin + spacing * static_cast<float>(m);
  }
  config_ = {0.5f * random_.unit() + 0.5f, static_cast<uint32_t>(random_.below(11))};
  block_.resize(static_cast<size_t>(kHopSize * init_.micNum));
}

void SmallStream::begin_episode() {
  left_ = 1 + random_.below(pick(random_, kLengths));
  shape_ = static_cast<Shape>(random_.below(3));
  cancelling_ = init_.micNum > 1 && random_.below(3) != 0;
  signal_ = Signal(static_cast<SignalKind>(random_.below(kSignalKinds)), random_.next(),
                   cancelling_ ? 1 : init_.micNum);
  place_ = random_.below(2) == 0 ? 0 : random_.below(kHopSize);
  period_ = 2 << random_.below(8);
  level_ = pick(random_, kLevels);
  angle_ = pick(random_, kAngles);
  turn_ = random_.below(8) == 0 ? 1 + random_.below(90) : 0;
}

void SmallStream::fill_mono(int16_t* out) {
  if (shape_ == Shape::kSignal) return signal_.block(out);
  std::fill_n(out, kHopSize, int16_t{0});
  if (shape_ == Shape::kPulses) out[place_] = static_cast<int16_t>(level_);
  if (shape_ == Shape::kSquare) {
    for (int t = 0; t < kHopSize; ++t) {
      out[t] = static_cast<int16_t>(t % period_ < period_ / 2 ? level_ : -level_);
    }
  }
}

const std::vector<int16_t>& SmallStream::block() {
  if (left_ == 0) begin_episode();
  --left_;
  angle_ = static_cast<int32_t>(static_cast<uint32_t>(angle_) + static_cast<uint32_t>(turn_));
  if (shape_ == Shape::kSignal && !cancelling_) {
    signal_.block(block_.data());
    return block_;
  }
  int16_t mono[kHopSize];
  fill_mono(mono);
  for (int t = 0; t < kHopSize; ++t) {
    for (int m = 0; m < init_.micNum; ++m) {
      const int sign = cancelling_ ? kSigns[init_.micNum][m] : 1;
      // -32768 has no opposite.
      const int value = cancelling_ ? std::max<int>(mono[t], -INT16_MAX) : mono[t];
      block_[static_cast<size_t>(t * init_.micNum + m)] = static_cast<int16_t>(sign * value);
    }
  }
  return block_;
}

}  // namespace vekbf::test
