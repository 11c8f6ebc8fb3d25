// SPDX-License-Identifier: MIT
//
// Whole records, compared field by field: the instance, its transform, its detector with the
// estimator. A failure names the first field that differs.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "base/instance.h"
#include "fft/fft.h"
#include "noise/vad.h"
#include "support/bits.h"

namespace vekbf::test {

// Calls visit(name, member pointer) for every field but the two owned pointers, in record order.
template <class Visit>
void visit_fields(Visit&& visit) {
  using I = Instance;
  visit("sampleRate", &I::sampleRate);
  visit("bitWidth", &I::bitWidth);
  visit("micNum", &I::micNum);
  visit("blockCounter", &I::blockCounter);
  visit("soundSpeed", &I::soundSpeed);
  visit("intensity", &I::intensity);
  visit("arrayRadius", &I::arrayRadius);
  visit("steerAngle", &I::steerAngle);
  visit("algorithm", &I::algorithm);
  visit("reserved", &I::reserved);
  visit("micPlacement", &I::micPlacement);
  visit("micDelay", &I::micDelay);
  visit("micProjection", &I::micProjection);
  visit("steerTable", &I::steerTable);
  visit("micCoordinate", &I::micCoordinate);
  visit("geometry", &I::geometry);
  visit("blockPowerSmoothing", &I::blockPowerSmoothing);
  visit("beamPowerSmoothing", &I::beamPowerSmoothing);
  visit("blockStepSize", &I::blockStepSize);
  visit("cancelStepSize", &I::cancelStepSize);
  visit("cancelRegularizer", &I::cancelRegularizer);
  visit("blockRegularizer", &I::blockRegularizer);
  visit("presenceGain", &I::presenceGain);
  visit("beamPowerSmooth", &I::beamPowerSmooth);
  visit("blockPowerSmooth", &I::blockPowerSmooth);
  visit("blockStep", &I::blockStep);
  visit("cancelStep", &I::cancelStep);
  visit("blockPowerSum", &I::blockPowerSum);
  visit("blockWeights", &I::blockWeights);
  visit("cancelWeights", &I::cancelWeights);
  visit("blockOutput", &I::blockOutput);
  visit("fixedBeam", &I::fixedBeam);
  visit("refBeam", &I::refBeam);
  visit("cancelSum", &I::cancelSum);
  visit("outBeam", &I::outBeam);
  visit("outputOverlap", &I::outputOverlap);
  visit("beamPower", &I::beamPower);
  visit("micHistory", &I::micHistory);
  visit("fftScratch", &I::fftScratch);
  visit("micSpectrum", &I::micSpectrum);
  visit("savedSpectrum", &I::savedSpectrum);
}

template <class Field>
testing::AssertionResult same_field(const Field& a, const Field& b, bool flushed = false) {
  using Element = std::remove_all_extents_t<Field>;
  if constexpr (std::is_same_v<Element, float> || std::is_same_v<Element, Complex>) {
    constexpr size_t kBytes = sizeof(Field);
    return same_floats(reinterpret_cast<const float*>(&a), reinterpret_cast<const float*>(&b),
                       kBytes / sizeof(float), flushed);
  } else {
    if (std::memcmp(&a, &b, sizeof(Field)) == 0) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "integers differ";
  }
}

inline testing::AssertionResult same_instances(const Instance& a, const Instance& b,
                                               bool flushed = false) {
  testing::AssertionResult result = testing::AssertionSuccess();
  visit_fields([&](const char* name, auto field) {
    if (!result) return;
    const testing::AssertionResult same = same_field(a.*field, b.*field, flushed);
    if (!same) result = testing::AssertionFailure() << name << ": " << same.message();
  });
  return result;
}

namespace detail {

// Collects the first difference among named fields and arrays of two records.
class Differences {
 public:
  explicit Differences(bool flushed) : flushed_(flushed) {}
  template <class T>
  void value(const char* name, const T& a, const T& b) {
    note(name, same_field(a, b, flushed_));
  }
  void array(const char* name, const float* a, const float* b, int32_t count) {
    note(name, same_floats(a, b, static_cast<size_t>(count), flushed_));
  }
  testing::AssertionResult result() const { return result_; }

 private:
  void note(const char* name, const testing::AssertionResult& same) {
    if (result_ && !same) result_ = testing::AssertionFailure() << name << ": " << same.message();
  }
  bool flushed_;
  testing::AssertionResult result_ = testing::AssertionSuccess();
};

}  // namespace detail

inline testing::AssertionResult same_transforms(const FftState* a, const FftState* b) {
  if (a == nullptr || b == nullptr) {
    if (a == b) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "one transform is missing";
  }
  detail::Differences d(false);
  d.value("fftSize", a->fftSize, b->fftSize);
  if (!d.result()) return d.result();
  d.value("frameSize", a->frameSize, b->frameSize);
  d.value("initFlag", a->initFlag, b->initFlag);
  d.array("window", a->window, b->window, a->fftSize);
  d.array("windowSq", a->windowSq, b->windowSq, a->fftSize);
  d.array("windowSqSum", a->windowSqSum, b->windowSqSum, a->fftSize);
  return d.result();
}

inline testing::AssertionResult same_detectors(const VadState* a, const VadState* b,
                                               bool flushed = false) {
  if (a == nullptr || b == nullptr) {
    if (a == b) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "one detector is missing";
  }
  detail::Differences d(flushed);
  d.value("binCount", a->binCount, b->binCount);
  d.value("mcra.binCount", a->mcra->binCount, b->mcra->binCount);
  if (!d.result()) return d.result();
  d.value("sampleRate", a->sampleRate, b->sampleRate);
  d.value("frameLen", a->frameLen, b->frameLen);
  d.value("snrMax", a->snrMax, b->snrMax);
  d.value("snrMin", a->snrMin, b->snrMin);
  d.value("transA", a->transA, b->transA);
  d.value("transAComp", a->transAComp, b->transAComp);
  d.value("transB", a->transB, b->transB);
  d.value("transBComp", a->transBComp, b->transBComp);
  d.value("transRatio", a->transRatio, b->transRatio);
  d.value("transResid", a->transResid, b->transResid);
  d.value("snrSmoothing", a->snrSmoothing, b->snrSmoothing);
  d.value("threshold", a->threshold, b->threshold);
  d.value("onsetFrames", a->onsetFrames, b->onsetFrames);
  d.value("hangoverFrames", a->hangoverFrames, b->hangoverFrames);
  if (kDetectorState) {
    d.value("logLikelihood", a->logLikelihood, b->logLikelihood);
    // Not defined before the first frame.
    if (a->mcra->frameCount != 1) {
      d.value("meanLogLikelihood", a->meanLogLikelihood, b->meanLogLikelihood);
    }
    d.array("scaledSnr", a->scaledSnr, b->scaledSnr, a->binCount);
    d.array("binLogLikelihood", a->binLogLikelihood, b->binLogLikelihood, a->binCount);
    d.array("postSnrMinusOne", a->postSnrMinusOne, b->postSnrMinusOne, a->binCount);
    d.array("gain", a->gain, b->gain, a->binCount);
    d.array("speechPowerRatio", a->speechPowerRatio, b->speechPowerRatio, a->binCount);
    d.array("postSnr", a->postSnr, b->postSnr, a->binCount);
    d.array("prioriSnr", a->prioriSnr, b->prioriSnr, a->binCount);
    d.value("decision", a->decision, b->decision);
    d.value("hangoverCount", a->hangoverCount, b->hangoverCount);
    d.value("onsetCount", a->onsetCount, b->onsetCount);
    d.value("noiseState", a->noiseState, b->noiseState);
  }
  const Mcra2State& x = *a->mcra;
  const Mcra2State& y = *b->mcra;
  d.value("mcra.frameCount", x.frameCount, y.frameCount);
  d.value("mcra.alphaD", x.alphaD, y.alphaD);
  d.value("mcra.alphaP", x.alphaP, y.alphaP);
  d.value("mcra.beta", x.beta, y.beta);
  d.value("mcra.gamma", x.gamma, y.gamma);
  d.value("mcra.eta", x.eta, y.eta);
  d.array("mcra.delta", x.delta, y.delta, x.binCount);
  d.array("mcra.inputPower", x.inputPower, y.inputPower, x.binCount);
  d.array("mcra.noisePower", x.noisePower, y.noisePower, x.binCount);
  d.array("mcra.speechProb", x.speechProb, y.speechProb, x.binCount);
  d.array("mcra.prevSmoothPower", x.prevSmoothPower, y.prevSmoothPower, x.binCount);
  d.array("mcra.smoothPower", x.smoothPower, y.smoothPower, x.binCount);
  d.array("mcra.prevMinPower", x.prevMinPower, y.prevMinPower, x.binCount);
  d.array("mcra.minPower", x.minPower, y.minPower, x.binCount);
  d.array("mcra.smoothFactor", x.smoothFactor, y.smoothFactor, x.binCount);
  d.array("mcra.powerRatio", x.powerRatio, y.powerRatio, x.binCount);
  d.array("mcra.speechFlag", x.speechFlag, y.speechFlag, x.binCount);
  return d.result();
}

// Every byte of the transform and the detector that an instance owns, work areas included.
inline std::vector<uint8_t> owned_bytes(const Instance& instance) {
  std::vector<uint8_t> bytes;
  const auto add = [&](const void* first, size_t size) {
    const auto* p = static_cast<const uint8_t*>(first);
    bytes.insert(bytes.end(), p, p + size);
  };
  if (const FftState* fft = instance.fftState) {
    const auto size = static_cast<size_t>(fft->fftSize);
    add(fft, sizeof *fft);
    for (const float* array : {fft->window, fft->windowSq, fft->windowSqSum}) {
      add(array, size * sizeof *array);
    }
    add(fft->plan->buffer, size * sizeof(Complex));
    add(fft->plan->factors, kFactorSlots * sizeof(int32_t));
    add(fft->plan->twiddles, size / 2 * sizeof(Complex));
    add(fft->plan->superTwiddles, size / 4 * sizeof(Complex));
  }
  if (const VadState* vad = instance.vadState) {
    const size_t size = static_cast<size_t>(vad->binCount) * sizeof(float);
    add(vad, sizeof *vad);
    for (const float* array : {vad->scaledSnr, vad->binLogLikelihood, vad->postSnrMinusOne,
                               vad->gain, vad->speechPowerRatio, vad->postSnr, vad->prioriSnr}) {
      add(array, size);
    }
    const Mcra2State& mcra = *vad->mcra;
    add(&mcra, sizeof mcra);
    for (const float* array :
         {mcra.delta, mcra.inputPower, mcra.noisePower, mcra.speechProb, mcra.prevSmoothPower,
          mcra.smoothPower, mcra.prevMinPower, mcra.minPower, mcra.smoothFactor, mcra.powerRatio,
          mcra.speechFlag}) {
      add(array, size);
    }
  }
  return bytes;
}

}  // namespace vekbf::test
