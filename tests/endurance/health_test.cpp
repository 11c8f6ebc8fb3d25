// SPDX-License-Identifier: MIT
#include "endurance/health.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "support/quiet.h"
#include "support/records.h"
#include "vectors/model_engine.h"

namespace vekbf::test {
namespace {

class Health : public testing::Test {
 protected:
  void SetUp() override {
    const Quiet quiet;
    scene_ = random_scene(5, VEK_ADAPTIVE_BF, 4, VEK_BF_UNIFORM_LINEAR_ARRAY, 16000, 5);
    scene_.signal = SignalKind::kNoise;
    scene_.reconfigureAt = 0;
    player_.emplace(scene_, kModel);
    while (player_->play_block()) {
    }
    record_ = const_cast<Instance*>(&player_->last().instance);
  }
  void expect_noticed(const std::string& name, float& value) {
    const float kept = value;
    for (const float bad :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
          -std::numeric_limits<float>::infinity()}) {
      value = bad;
      const char* region = first_unsound_region(*record_);
      EXPECT_STREQ(region, name.c_str());
    }
    value = kept;
    EXPECT_EQ(first_unsound_region(*record_), nullptr) << name;
  }

  Scene scene_;
  std::optional<Player> player_;
  Instance* record_ = nullptr;
};

TEST_F(Health, NoticesWhatIsNotFiniteInEveryRegionOfTheInstance) {
  ASSERT_EQ(first_unsound_region(*record_), nullptr);
  int regions = 0;
  visit_fields([&](const char* name, auto member) {
    auto& field = record_->*member;
    using Field = std::remove_reference_t<decltype(field)>;
    using Element = std::remove_all_extents_t<Field>;
    const std::string text = name;
    if (text == "reserved" || text == "micPlacement" || text == "micCoordinate") return;
    if constexpr (std::is_array_v<Field> &&
                  (std::is_same_v<Element, float> || std::is_same_v<Element, Complex>)) {
      auto* floats = reinterpret_cast<float*>(&field);
      constexpr size_t kFloatSize = sizeof(float);
      expect_noticed(name, floats[0]);
      expect_noticed(name, floats[sizeof(Field) / kFloatSize - 1]);
      ++regions;
    }
  });
  EXPECT_EQ(regions, 21);
}

TEST_F(Health, NoticesWhatIsNotFiniteInTheDetector) {
  VadState& vad = *record_->vadState;
  Mcra2State& mcra = *vad.mcra;
  expect_noticed("logLikelihood", vad.logLikelihood);
  expect_noticed("meanLogLikelihood", vad.meanLogLikelihood);
  expect_noticed("scaledSnr", vad.scaledSnr[256]);
  expect_noticed("binLogLikelihood", vad.binLogLikelihood[0]);
  expect_noticed("postSnrMinusOne", vad.postSnrMinusOne[100]);
  expect_noticed("postSnr", vad.postSnr[256]);
  expect_noticed("prioriSnr", vad.prioriSnr[256]);
  expect_noticed("inputPower", mcra.inputPower[256]);
  expect_noticed("noisePower", mcra.noisePower[256]);
  expect_noticed("speechProb", mcra.speechProb[256]);
  expect_noticed("prevSmoothPower", mcra.prevSmoothPower[256]);
  expect_noticed("smoothPower", mcra.smoothPower[256]);
  expect_noticed("prevMinPower", mcra.prevMinPower[256]);
  expect_noticed("minPower", mcra.minPower[256]);
  expect_noticed("smoothFactor", mcra.smoothFactor[256]);
  expect_noticed("speechFlag", mcra.speechFlag[256]);
}

TEST_F(Health, LetsQuotientsOfNothingPass) {
  record_->vadState->gain[3] = std::numeric_limits<float>::quiet_NaN();
  record_->vadState->speechPowerRatio[3] = std::numeric_limits<float>::quiet_NaN();
  record_->vadState->mcra->powerRatio[3] = std::numeric_limits<float>::infinity();
  EXPECT_EQ(first_unsound_region(*record_), nullptr);
}

TEST_F(Health, FindsTheLargestWeightOfBothSets) {
  record_->blockWeights[3][256].im = -5e8f;
  EXPECT_EQ(largest_weight(*record_), 5e8f);
  record_->cancelWeights[0][0].re = 6e8f;
  EXPECT_EQ(largest_weight(*record_), 6e8f);
}

TEST_F(Health, SeesMemoryThatIsTaken) {
  const int64_t before = resident_kilobytes();
  ASSERT_GT(before, 0);
  constexpr size_t kSize = 8 << 20;
  // Volatile: a compiler may leave out memory that nothing looks at.
  const std::unique_ptr<volatile char[]> taken(new volatile char[kSize]);
  for (size_t i = 0; i < kSize; ++i) taken[i] = 1;
  EXPECT_GT(resident_kilobytes(), before + 4096);
}

}  // namespace
}  // namespace vekbf::test
