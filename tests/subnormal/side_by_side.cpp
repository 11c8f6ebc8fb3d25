// SPDX-License-Identifier: MIT
#include "subnormal/side_by_side.h"

#include <cmath>
#include <cstring>

#include "noise/vad.h"
#include "support/bits.h"
#include "support/quiet.h"
#include "support/records.h"

namespace vekbf::test {

namespace {

void compare(const char* name, const float* one, const float* other, size_t count, int64_t block,
             Differences& found) {
  if (std::memcmp(one, other, count * sizeof *one) == 0) return;
  bool differs = false;
  for (size_t i = 0; i < count; ++i) {
    if (same_bits(one[i], other[i])) continue;
    FieldDifference& field = found[name];
    const bool beyond = !same_bits_flushed(one[i], other[i]);
    if (field.blocks == 0 && !differs) field.first = block;
    if ((field.blocks == 0 && !differs) || (beyond && !field.beyond)) {
      field.one = one[i];
      field.other = other[i];
      field.beyond = beyond;
    }
    differs = true;
  }
  if (differs) ++found[name].blocks;
}

}  // namespace

void compare_states(const Instance& one, const Instance& other, int64_t block, Differences& found) {
  visit_fields([&](const char* name, auto member) {
    using Field = std::remove_cvref_t<decltype(one.*member)>;
    using Element = std::remove_all_extents_t<Field>;
    constexpr size_t kBytes = sizeof(Field);
    if constexpr (std::is_same_v<Element, float> || std::is_same_v<Element, Complex>) {
      compare(name, reinterpret_cast<const float*>(&(one.*member)),
              reinterpret_cast<const float*>(&(other.*member)), kBytes / sizeof(float), block,
              found);
    } else if (std::memcmp(&(one.*member), &(other.*member), kBytes) != 0) {
      ++found[name].blocks;
      found[name].beyond = true;
    }
  });
  const VadState& a = *one.vadState;
  const VadState& b = *other.vadState;
  const auto detector = [&](const char* name, auto member) {
    if constexpr (std::is_pointer_v<std::remove_cvref_t<decltype(a.*member)>>) {
      compare(name, a.*member, b.*member, kBinCount, block, found);
    } else {
      const float x = static_cast<float>(a.*member);
      const float y = static_cast<float>(b.*member);
      compare(name, &x, &y, 1, block, found);
    }
  };
  detector("detector.logLikelihood", &VadState::logLikelihood);
  if (a.mcra->frameCount != 1) detector("detector.meanLogLikelihood", &VadState::meanLogLikelihood);
  detector("detector.scaledSnr", &VadState::scaledSnr);
  detector("detector.binLogLikelihood", &VadState::binLogLikelihood);
  detector("detector.postSnrMinusOne", &VadState::postSnrMinusOne);
  detector("detector.gain", &VadState::gain);
  detector("detector.speechPowerRatio", &VadState::speechPowerRatio);
  detector("detector.postSnr", &VadState::postSnr);
  detector("detector.prioriSnr", &VadState::prioriSnr);
  detector("detector.decision", &VadState::decision);
  detector("detector.hangoverCount", &VadState::hangoverCount);
  detector("detector.onsetCount", &VadState::onsetCount);
  detector("detector.noiseState", &VadState::noiseState);
  const auto estimator = [&](const char* name, auto member) {
    compare(name, a.mcra->*member, b.mcra->*member, kBinCount, block, found);
  };
  estimator("estimator.inputPower", &Mcra2State::inputPower);
  estimator("estimator.noisePower", &Mcra2State::noisePower);
  estimator("estimator.speechProb", &Mcra2State::speechProb);
  estimator("estimator.prevSmoothPower", &Mcra2State::prevSmoothPower);
  estimator("estimator.smoothPower", &Mcra2State::smoothPower);
  estimator("estimator.prevMinPower", &Mcra2State::prevMinPower);
  estimator("estimator.minPower", &Mcra2State::minPower);
  estimator("estimator.smoothFactor", &Mcra2State::smoothFactor);
  estimator("estimator.powerRatio", &Mcra2State::powerRatio);
  estimator("estimator.speechFlag", &Mcra2State::speechFlag);
}

Running::Running(const Engine& engine, const VekBfInit& init, const VekBfConfig& config)
    : engine_(engine), memory_((kWorkBufferSize + 7) / 8), out_(kHopSize) {
  const Quiet quiet;
  handle_ = engine_.init(memory_.data(), &init);
  engine_.setConfig(handle_, &config);
}

Running::~Running() { engine_.freeInstance(handle_); }

const std::vector<int16_t>& Running::run(const std::vector<int16_t>& in, int32_t angle) {
  engine_.run(handle_, in.data(), out_.data(), angle);
  return out_;
}

}  // namespace vekbf::test
