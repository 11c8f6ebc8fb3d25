// SPDX-License-Identifier: MIT
#include "support/serialise.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "support/quiet.h"
#include "support/records.h"
#include "vectors/model_engine.h"

namespace vekbf::test {
namespace {

// Bytes of an instance without companions: 8 integers and a float, the tables, 6 constants, the
// regions, then one word for each missing companion.
constexpr size_t kInstanceBytes = 9 * 4 + 3 * 4 * 4 + 4 * 257 * 8 + 4 * 8 + 4 + 6 * 4 +
                                  6 * 257 * 4 + 3 * 4 * 257 * 8 + 4 * 257 * 8 + 512 * 2 + 257 * 4 +
                                  2 * 4 * 512 * 4 + 2 * 4 * 257 * 8;
constexpr size_t kTransformBytes = 3 * 4 + 3 * 512 * 4 + 4 + 11 * 4 + 252 * 8 + 128 * 8;
constexpr size_t kEstimatorBytes = 8 * 4 + 11 * 257 * 4;
constexpr size_t kDetectorBytes = 15 * 4 + 7 * 257 * 4 + 7 * 4 - 4 + kEstimatorBytes;

// An instance that has run for a while, so that its fields differ from each other.
class Serialise : public testing::Test {
 protected:
  Serialise()
      : scene_(random_scene(11, VEK_ADAPTIVE_BF, 4, VEK_BF_UNIFORM_TRIANGLE_ARRAY, 16000, 12)) {
    scene_.signal = SignalKind::kNoise;
    scene_.reconfigureAt = 0;
  }
  void SetUp() override {
    const Quiet quiet;
    player_.emplace(scene_, kModel);
    while (player_->play_block()) {
    }
    record_ = const_cast<Instance*>(&player_->last().instance);
    before_ = serialise(*record_);
  }

  // Changes a value, sees other bytes at as many places as the value has, and puts it back.
  template <class T>
  void expect_seen(const std::string& name, T& value) {
    const T kept = value;
    auto* bytes = reinterpret_cast<uint8_t*>(&value);
    // The low bits of a float's mantissa or of an integer, so that no number turns into none.
    bytes[0] ^= 1;
    const std::vector<uint8_t> after = serialise(*record_);
    value = kept;
    ASSERT_EQ(after.size(), before_.size()) << name;
    int changed = 0;
    for (size_t i = 0; i < after.size(); ++i) changed += after[i] != before_[i];
    EXPECT_EQ(changed, 1) << name;
  }
  void expect_array_seen(const std::string& name, float* values, int count) {
    for (const int i : {0, 1, count / 2, count - 1}) {
      // A subnormal stays a subnormal under a change of its last bit, and not a number stays none.
      const float kept = values[i];
      values[i] = 1.5f + static_cast<float>(i);
      before_ = serialise(*record_);
      expect_seen(name + " " + std::to_string(i), values[i]);
      values[i] = kept;
      before_ = serialise(*record_);
    }
  }

  Scene scene_;
  std::optional<Player> player_;
  Instance* record_ = nullptr;
  std::vector<uint8_t> before_;
};

TEST_F(Serialise, HasTheBytesOfEveryRegion) {
  EXPECT_EQ(before_.size(), kInstanceBytes + 8 + kTransformBytes + kDetectorBytes);
  std::vector<uint64_t> empty(kWorkBufferSize / 8);
  EXPECT_EQ(serialise(*reinterpret_cast<Instance*>(empty.data())).size(), kInstanceBytes + 8);
}

TEST_F(Serialise, EveryFieldOfTheInstanceIsSeen) {
  visit_fields([&](const char* name, auto member) {
    auto& field = record_->*member;
    using Field = std::remove_reference_t<decltype(field)>;
    using Element = std::remove_all_extents_t<Field>;
    if (std::string(name) == "reserved") return;
    if constexpr (std::is_same_v<Element, float> || std::is_same_v<Element, Complex>) {
      auto* floats = reinterpret_cast<float*>(&field);
      constexpr size_t kFloatSize = sizeof(float);
      const int count = static_cast<int>(sizeof(Field) / kFloatSize);
      if (count == 1) {
        expect_seen(name, *floats);
      } else {
        expect_array_seen(name, floats, count);
      }
    } else if constexpr (std::is_array_v<Field>) {
      for (const size_t i : {size_t{0}, std::size(field) / 2, std::size(field) - 1}) {
        expect_seen(name, field[i]);
      }
    } else {
      expect_seen(name, field);
    }
  });
}

TEST_F(Serialise, EveryFieldOfTheTransformIsSeen) {
  FftState& s = *record_->fftState;
  expect_seen("frameSize", s.frameSize);
  expect_seen("initFlag", s.initFlag);
  expect_array_seen("window", s.window, 512);
  expect_array_seen("windowSq", s.windowSq, 512);
  expect_array_seen("windowSqSum", s.windowSqSum, 512);
  for (int i = 1; i < 11; ++i) {
    if (i == 2 || i == 3 || i == 4 || i == 5 || i == 6 || i == 7) continue;  // lengths of lines
    expect_seen("factors " + std::to_string(i), s.plan->factors[i]);
  }
  expect_array_seen("twiddles", as_floats(s.plan->twiddles), 2 * 252);
  expect_array_seen("superTwiddles", as_floats(s.plan->superTwiddles), 2 * 128);
}

TEST_F(Serialise, SizesOfTheTransformAreSeen) {
  FftState& s = *record_->fftState;
  // Fewer samples, so that nothing beyond the arrays is read.
  s.fftSize = 511;
  EXPECT_NE(serialise(*record_), before_);
  s.fftSize = 512;
  s.plan->ncfft = 254;
  EXPECT_NE(serialise(*record_), before_);
  s.plan->ncfft = 256;
  for (const int slot : {0, 2, 3, 4, 5, 6, 7}) {
    s.plan->factors[slot] -= 1;
    EXPECT_NE(serialise(*record_), before_) << slot;
    s.plan->factors[slot] += 1;
  }
  EXPECT_EQ(serialise(*record_), before_);
}

TEST_F(Serialise, EveryFieldOfTheDetectorIsSeen) {
  VadState& s = *record_->vadState;
  expect_seen("sampleRate", s.sampleRate);
  expect_seen("frameLen", s.frameLen);
  expect_seen("snrMax", s.snrMax);
  expect_seen("snrMin", s.snrMin);
  expect_seen("transA", s.transA);
  expect_seen("transAComp", s.transAComp);
  expect_seen("transB", s.transB);
  expect_seen("transBComp", s.transBComp);
  expect_seen("transRatio", s.transRatio);
  expect_seen("transResid", s.transResid);
  expect_seen("snrSmoothing", s.snrSmoothing);
  expect_seen("logLikelihood", s.logLikelihood);
  expect_seen("meanLogLikelihood", s.meanLogLikelihood);
  expect_array_seen("scaledSnr", s.scaledSnr, kBinCount);
  expect_array_seen("binLogLikelihood", s.binLogLikelihood, kBinCount);
  expect_array_seen("postSnrMinusOne", s.postSnrMinusOne, kBinCount);
  expect_array_seen("gain", s.gain, kBinCount);
  expect_array_seen("speechPowerRatio", s.speechPowerRatio, kBinCount);
  expect_array_seen("postSnr", s.postSnr, kBinCount);
  expect_array_seen("prioriSnr", s.prioriSnr, kBinCount);
  expect_seen("threshold", s.threshold);
  expect_seen("decision", s.decision);
  expect_seen("onsetFrames", s.onsetFrames);
  expect_seen("hangoverFrames", s.hangoverFrames);
  expect_seen("hangoverCount", s.hangoverCount);
  expect_seen("onsetCount", s.onsetCount);
  expect_seen("noiseState", s.noiseState);
  s.binCount = 256;
  EXPECT_NE(serialise(*record_), before_);
  s.binCount = kBinCount;
}

TEST_F(Serialise, EveryFieldOfTheEstimatorIsSeen) {
  Mcra2State& s = *record_->vadState->mcra;
  expect_seen("frameCount", s.frameCount);
  expect_seen("alphaD", s.alphaD);
  expect_seen("alphaP", s.alphaP);
  expect_seen("beta", s.beta);
  expect_seen("extraFactor", s.extraFactor);
  expect_seen("gamma", s.gamma);
  expect_seen("eta", s.eta);
  expect_array_seen("delta", s.delta, kBinCount);
  expect_array_seen("inputPower", s.inputPower, kBinCount);
  expect_array_seen("noisePower", s.noisePower, kBinCount);
  expect_array_seen("speechProb", s.speechProb, kBinCount);
  expect_array_seen("prevSmoothPower", s.prevSmoothPower, kBinCount);
  expect_array_seen("smoothPower", s.smoothPower, kBinCount);
  expect_array_seen("prevMinPower", s.prevMinPower, kBinCount);
  expect_array_seen("minPower", s.minPower, kBinCount);
  expect_array_seen("smoothFactor", s.smoothFactor, kBinCount);
  expect_array_seen("powerRatio", s.powerRatio, kBinCount);
  expect_array_seen("speechFlag", s.speechFlag, kBinCount);
  s.binCount = 256;
  EXPECT_NE(serialise(*record_), before_);
  s.binCount = kBinCount;
}

TEST_F(Serialise, MissingCompanionsAreSeen) {
  FftState* const transform = record_->fftState;
  VadState* const detector = record_->vadState;
  record_->fftState = nullptr;
  EXPECT_EQ(serialise(*record_).size(), before_.size() - kTransformBytes);
  record_->fftState = transform;
  record_->vadState = nullptr;
  EXPECT_EQ(serialise(*record_).size(), before_.size() - kDetectorBytes);
  record_->vadState = detector;
}

// Where machines may differ, the bytes do not.
TEST_F(Serialise, EveryNotANumberIsTheSame) {
  float& value = record_->vadState->gain[5];
  value = std::bit_cast<float>(0x7fc00000u);
  const std::vector<uint8_t> plain = serialise(*record_);
  for (const uint32_t bits : {0xffc00000u, 0x7f800001u, 0x7fffffffu}) {
    value = std::bit_cast<float>(bits);
    EXPECT_EQ(serialise(*record_), plain) << std::hex << bits;
  }
  value = std::numeric_limits<float>::infinity();
  EXPECT_NE(serialise(*record_), plain);
}

TEST_F(Serialise, SubnormalsAreZerosOfTheirSign) {
  float& value = record_->vadState->mcra->speechProb[9];
  const auto bytes_with = [&](float x) {
    value = x;
    return serialise(*record_);
  };
  EXPECT_EQ(bytes_with(0x1p-149f), bytes_with(0.0f));
  EXPECT_EQ(bytes_with(-0x1.fffffcp-127f), bytes_with(-0.0f));
  EXPECT_NE(bytes_with(0.0f), bytes_with(-0.0f));
  EXPECT_NE(bytes_with(0x1p-126f), bytes_with(0.0f));
}

TEST_F(Serialise, RatioIsLeftOutWhereThePowerIsSubnormalOrZero) {
  Mcra2State& mcra = *record_->vadState->mcra;
  for (const float power : {0.0f, -0.0f, 0x1p-130f}) {
    mcra.smoothPower[3] = power;
    mcra.powerRatio[3] = 1.0f;
    const std::vector<uint8_t> plain = serialise(*record_);
    mcra.powerRatio[3] = 2.0f;
    EXPECT_EQ(serialise(*record_), plain) << power;
  }
  mcra.smoothPower[3] = 0x1p-126f;
  const std::vector<uint8_t> plain = serialise(*record_);
  mcra.powerRatio[3] = 3.0f;
  EXPECT_NE(serialise(*record_), plain);
}

TEST_F(Serialise, MeanIsLeftOutBeforeTheFirstFrame) {
  VadState& vad = *record_->vadState;
  vad.mcra->frameCount = 1;
  vad.meanLogLikelihood = 1.0f;
  const std::vector<uint8_t> plain = serialise(*record_);
  vad.meanLogLikelihood = 2.0f;
  EXPECT_EQ(serialise(*record_), plain);
}

TEST_F(Serialise, ReservedAndUnusedSlotsAreNotSeen) {
  record_->reserved[1] = 1.0f;
  record_->fftState->plan->twiddles[252].re = 3.0f;
  record_->fftState->plan->factors[11] = 17;
  record_->fftState->plan->buffer[0].re = 5.0f;
  EXPECT_EQ(serialise(*record_), before_);
}

}  // namespace
}  // namespace vekbf::test
