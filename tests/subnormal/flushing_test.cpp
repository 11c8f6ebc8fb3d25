// SPDX-License-Identifier: MIT
//
// What the 32-bit ARM vector unit's flushing of subnormals may change: single small fields of the
// state, but no sample and no decision. On 32-bit ARM "the library" has that unit, and the flushing
// lanes are held against it; on other machines the lanes stand in for it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "noise/vad.h"
#include "reference/model.h"
#include "subnormal/flushing_library.h"
#include "subnormal/side_by_side.h"
#include "support/beam.h"
#include "support/bits.h"
#include "support/power_streams.h"
#include "support/quiet.h"
#include "vectors/library_engine.h"
#include "vectors/model_engine.h"

namespace vekbf::test {
namespace {

bool is_subnormal(float x) { return x != 0.0f && std::fabs(x) < 0x1p-126f; }

// Two microphones a centimetre apart look straight ahead, where a delay of 1e-21 seconds is left by
// the cosine of 90 degrees. Three pulses of one unit that reach them with opposite signs leave a
// beam of 1e-20 in their odd bins: a subnormal power, and one that rises. It is speech by the
// estimator's rule, and a unit that takes the power for zero would say it is not. Then comes noise
// at full scale, which learns from the gain.
constexpr int kPulses = 3;
constexpr int kBlocks = 40;

std::vector<int16_t> opposed_pulse_or_noise(int block, Random& random) {
  std::vector<int16_t> in(2 * kHopSize);
  if (block < kPulses) {
    in[0] = 1;
    in[1] = -1;
  } else {
    for (int16_t& x : in) x = random.sample();
  }
  return in;
}

TEST(Flushing, ARisingSubnormalPowerIsSpeechEverywhere) {
  const VekBfConfig config{0.5f, 10};
  Running library(kLibrary, narrow_pair(), config);
  Running model(kModel, narrow_pair(), config);
  Running flushing(flushing_library(), narrow_pair(), config);
  Random random(1);
  for (int b = 0; b < kBlocks; ++b) {
    const std::vector<int16_t> in = opposed_pulse_or_noise(b, random);
    const std::vector<int16_t> expected = model.run(in, 90);
    ASSERT_EQ(library.run(in, 90), expected) << "block " << b;
    ASSERT_EQ(flushing.run(in, 90), expected) << "block " << b;
    const Mcra2State& truth = *model.record().vadState->mcra;
    if (b == kPulses - 1) {
      // Or this would prove nothing.
      ASSERT_TRUE(is_subnormal(model.record().beamPower[1]));
      ASSERT_TRUE(is_subnormal(truth.smoothPower[1]));
      ASSERT_EQ(truth.speechFlag[1], 1.0f);
    }
    for (Running* other : {&library, &flushing}) {
      const Mcra2State& mcra = *other->record().vadState->mcra;
      EXPECT_TRUE(same_floats(mcra.speechFlag, truth.speechFlag, kBinCount)) << "block " << b;
      EXPECT_TRUE(same_floats(mcra.smoothPower, truth.smoothPower, kBinCount)) << "block " << b;
      EXPECT_TRUE(same_floats(mcra.minPower, truth.minPower, kBinCount)) << "block " << b;
      EXPECT_TRUE(same_floats(other->record().presenceGain, model.record().presenceGain, kBinCount))
          << "block " << b;
    }
  }
}

// Long after a sound that only one channel had, opposite channels leave no power at all: the
// smoothed one decays until it is the smallest subnormal, and stays there. Where it becomes zero
// instead, the noise estimate does so too, and 0/0 is a ratio of a thousand to the detector.
TEST(Flushing, AnEndlessDecayIsTheSameEverywhere) {
  constexpr int kDecay = kFlushes ? 400 : 2300;  // the noise estimate takes the longest
  const VekBfConfig config{0.5f, 5};
  const VekBfInit init = narrow_pair();
  Running library(kLibrary, init, config);
  Running flushing(flushing_library(), init, config);
  Random random(2);
  for (int b = 0; b < kDecay; ++b) {
    std::vector<int16_t> in(2 * kHopSize);
    for (int t = 0; t < kHopSize; ++t) {
      const auto x = static_cast<int16_t>(random.below(3) - 1);
      in[static_cast<size_t>(2 * t)] = x;
      in[static_cast<size_t>(2 * t + 1)] = static_cast<int16_t>(b < 10 ? 0 : -x);
    }
    in[0] = 1;
    in[1] = static_cast<int16_t>(b < 10 ? 0 : -1);
    ASSERT_EQ(library.run(in, 90), flushing.run(in, 90)) << "block " << b;
  }
  const VadState& one = *library.record().vadState;
  const VadState& other = *flushing.record().vadState;
  ASSERT_TRUE(is_subnormal(one.mcra->smoothPower[100]));
  if (!kFlushes) {
    ASSERT_TRUE(is_subnormal(one.mcra->noisePower[100]));
  }
  EXPECT_TRUE(same_floats(one.mcra->smoothPower, other.mcra->smoothPower, kBinCount));
  EXPECT_TRUE(same_floats(one.mcra->noisePower, other.mcra->noisePower, kBinCount));
  EXPECT_TRUE(same_floats(one.postSnr, other.postSnr, kBinCount));
}

// Any tiny powers, one frame after the other, in every bin: the estimator of the library against
// the plain one. The probability of speech may be a zero for a subnormal.
TEST(Flushing, TinyPowersAreTrackedAlikeEverywhere) {
  const Mcra2InitParams params{16000, kBinCount};
  Mcra2State* library = mcra2_init(&params);
  Mcra2State* model = reference::mcra2_init(&params);
  Random random(3);
  std::vector<float> power(kBinCount);
  int64_t flags = 0;
  for (int frame = 0; frame < 3000; ++frame) {
    // Between 2^-149 and 2^-50, in steps that a smoothed power notices, with pauses.
    for (float& x : power) {
      x = random.below(4) == 0 ? 0.0f
                               : std::ldexp(1.0f + random.unit() / 2, -149 + random.below(100));
    }
    if (frame % 100 >= 40) std::fill(power.begin(), power.end(), 0.0f);
    mcra2_run(library, power.data());
    reference::mcra2_run(model, power.data());
    for (const auto array :
         {&Mcra2State::inputPower, &Mcra2State::smoothPower, &Mcra2State::prevSmoothPower,
          &Mcra2State::minPower, &Mcra2State::prevMinPower, &Mcra2State::powerRatio,
          &Mcra2State::speechFlag, &Mcra2State::smoothFactor, &Mcra2State::noisePower}) {
      ASSERT_TRUE(same_floats(library->*array, model->*array, kBinCount)) << "frame " << frame;
    }
    ASSERT_TRUE(same_floats(library->speechProb, model->speechProb, kBinCount, true));
    for (int k = 0; k < kBinCount; ++k) flags += model->speechFlag[k] != 0.0f;
  }
  EXPECT_GT(flags, 1000);
  mcra2_free(library);
  reference::mcra2_free(model);
}

// The fields that may differ, and none of them by more than a subnormal in the place of a zero but
// for the canceller's, whose smallest numbers may also differ in their last bits.
constexpr float kSmallest = 1e-20f;
bool may_differ(const std::string& field) {
  for (const char* name :
       {"beamPowerSmooth", "blockPowerSmooth", "blockPowerSum", "cancelSum", "cancelWeights",
        "blockWeights", "blockOutput", "refBeam", "fixedBeam", "outBeam", "micSpectrum",
        "savedSpectrum", "detector.speechPowerRatio", "estimator.speechProb"}) {
    if (field == name) return true;
  }
  return false;
}

TEST(Flushing, ChangesNoSampleAndOnlySmallFields) {
  constexpr uint64_t kStreams = 24;
  constexpr int kLength = kFlushes ? 30 : 400;
  Differences found;
  for (uint64_t seed = 1; seed <= kStreams; ++seed) {
    SmallStream stream(seed);
    Running library(kLibrary, stream.init(), stream.config());
    Running flushing(flushing_library(), stream.init(), stream.config());
    const Quiet quiet;
    for (int b = 1; b <= kLength; ++b) {
      const std::vector<int16_t>& in = stream.block();
      ASSERT_EQ(library.run(in, stream.angle()), flushing.run(in, stream.angle()))
          << "seed " << seed << ", block " << b;
      compare_states(library.record(), flushing.record(), b, found);
    }
  }
  for (const auto& [name, field] : found) {
    EXPECT_TRUE(may_differ(name)) << name;
    if (field.beyond) {
      EXPECT_LT(std::fmax(std::fabs(field.one), std::fabs(field.other)), kSmallest) << name;
    }
  }
  // The unit itself does what the lanes do; elsewhere there is something to be seen.
  EXPECT_EQ(found.empty(), kFlushes);
}

}  // namespace
}  // namespace vekbf::test
