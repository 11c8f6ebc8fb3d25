// SPDX-License-Identifier: MIT
#include "support/serialise.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <type_traits>

#include "fft/fft.h"
#include "noise/vad.h"

namespace vekbf::test {

namespace {

constexpr uint32_t kNotANumber = 0x7fc00000u;
constexpr float kSmallestNormal = 0x1p-126f;

bool subnormal_or_zero(float value) { return std::fabs(value) < kSmallestNormal; }

class Writer {
 public:
  void word(uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
      bytes_.push_back(static_cast<uint8_t>((value >> shift) & 0xff));
    }
  }
  void half(int16_t value) {
    const auto bits = static_cast<uint16_t>(value);
    bytes_.push_back(static_cast<uint8_t>(bits & 0xff));
    bytes_.push_back(static_cast<uint8_t>(bits >> 8));
  }
  void real(float value) {
    const auto bits = std::bit_cast<uint32_t>(value);
    if (value != value) {
      word(kNotANumber);
    } else {
      word(subnormal_or_zero(value) ? bits & 0x80000000u : bits);
    }
  }
  template <class T>
  void reals(const T* values, int count) {
    for (int i = 0; i < count; ++i) add(values[i]);
  }

  // One field of a record: a scalar, or an array of any number of dimensions.
  template <class T>
  void add(const T& field) {
    if constexpr (std::is_array_v<T>) {
      for (const auto& element : field) add(element);
    } else if constexpr (std::is_same_v<T, Complex>) {
      real(field.re);
      real(field.im);
    } else if constexpr (std::is_same_v<T, float>) {
      real(field);
    } else if constexpr (std::is_same_v<T, int16_t>) {
      half(field);
    } else {
      static_assert(sizeof(T) == 4 && (std::is_integral_v<T> || std::is_enum_v<T>));
      word(static_cast<uint32_t>(field));
    }
  }

  std::vector<uint8_t> take() { return std::move(bytes_); }

 private:
  std::vector<uint8_t> bytes_;
};

template <class... Fields>
void add_all(Writer& writer, const Fields&... fields) {
  (writer.add(fields), ...);
}

void add_instance(Writer& w, const Instance& s) {
  add_all(w, s.sampleRate, s.bitWidth, s.micNum, s.blockCounter, s.soundSpeed, s.intensity,
          s.arrayRadius, s.steerAngle, s.algorithm);
  add_all(w, s.micPlacement, s.micDelay, s.micProjection, s.steerTable, s.micCoordinate,
          s.geometry);
  add_all(w, s.blockPowerSmoothing, s.beamPowerSmoothing, s.blockStepSize, s.cancelStepSize,
          s.cancelRegularizer, s.blockRegularizer);
  add_all(w, s.presenceGain, s.beamPowerSmooth, s.blockPowerSmooth, s.blockStep, s.cancelStep,
          s.blockPowerSum, s.blockWeights, s.cancelWeights, s.blockOutput);
  add_all(w, s.fixedBeam, s.refBeam, s.cancelSum, s.outBeam, s.outputOverlap, s.beamPower);
  add_all(w, s.micHistory, s.fftScratch, s.micSpectrum, s.savedSpectrum);
}

// Slots that the plan fills: every stage but the first one executed has its line.
int used_twiddles(const RealFftPlan& plan) {
  const int32_t stages = plan.factors[0];
  int used = 0;
  for (int32_t i = 1; i < stages; ++i) {
    used += (plan.factors[2 * i] - 1) * plan.factors[2 * i + 1];
  }
  return used;
}

void add_transform(Writer& w, const FftState& s) {
  add_all(w, s.fftSize, s.frameSize, s.initFlag);
  for (const float* array : {s.window, s.windowSq, s.windowSqSum}) w.reals(array, s.fftSize);
  const RealFftPlan& plan = *s.plan;
  w.add(plan.ncfft);
  w.reals(plan.factors, 2 * plan.factors[0] + 3);
  w.reals(plan.twiddles, used_twiddles(plan));
  w.reals(plan.superTwiddles, plan.ncfft / 2);
}

void add_estimator(Writer& w, const Mcra2State& s) {
  add_all(w, s.frameCount, s.binCount, s.alphaD, s.alphaP, s.beta, s.extraFactor, s.gamma, s.eta);
  for (const float* array :
       {s.delta, s.inputPower, s.noisePower, s.speechProb, s.prevSmoothPower, s.smoothPower,
        s.prevMinPower, s.minPower, s.smoothFactor, s.speechFlag}) {
    w.reals(array, s.binCount);
  }
  for (int32_t k = 0; k < s.binCount; ++k) {
    w.real(subnormal_or_zero(s.smoothPower[k]) ? 0.0f : s.powerRatio[k]);
  }
}

void add_detector(Writer& w, const VadState& s) {
  add_all(w, s.sampleRate, s.frameLen, s.binCount, s.snrMax, s.snrMin, s.transA, s.transAComp,
          s.transB, s.transBComp, s.transRatio, s.transResid, s.snrSmoothing, s.logLikelihood);
  w.add(s.mcra->frameCount == 1 ? 0.0f : s.meanLogLikelihood);
  for (const float* array : {s.scaledSnr, s.binLogLikelihood, s.postSnrMinusOne, s.gain,
                             s.speechPowerRatio, s.postSnr, s.prioriSnr}) {
    w.reals(array, s.binCount);
  }
  add_all(w, s.threshold, s.decision, s.onsetFrames, s.hangoverFrames, s.hangoverCount,
          s.onsetCount, s.noiseState);
  add_estimator(w, *s.mcra);
}

}  // namespace

std::vector<uint8_t> serialise(const Instance& instance) {
  Writer writer;
  add_instance(writer, instance);
  writer.word(instance.fftState != nullptr);
  if (instance.fftState != nullptr) add_transform(writer, *instance.fftState);
  writer.word(instance.vadState != nullptr);
  if (instance.vadState != nullptr) add_detector(writer, *instance.vadState);
  return writer.take();
}

}  // namespace vekbf::test
