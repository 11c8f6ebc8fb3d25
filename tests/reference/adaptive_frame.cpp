// SPDX-License-Identifier: MIT
//
// The adaptive frame: a generalised sidelobe canceller in each bin, in the order of its steps.
#include "reference/arithmetic.h"
#include "reference/mics.h"
#include "reference/model.h"
#include "reference/synthesis.h"

namespace reference {

namespace {

constexpr int kBins = vekbf::kBinCount;
constexpr int kLastBin = kBins - 1;

// Weighted once after the sum, unlike the fixed frame's.
void form_fixed_beam(Instance* instance) {
  for (int m = 0; m < rows(*instance); ++m) {
    for (int k = 0; k < kBins; ++k) {
      const Complex x = instance->micSpectrum[m][k];
      instance->savedSpectrum[m][k] = x;
      instance->fixedBeam[k] = add(instance->fixedBeam[k], multiply(instance->steerTable[m][k], x));
    }
  }
  const float weight = 1.0f / static_cast<float>(instance->micNum);
  for (int k = 0; k < kBins; ++k) {
    instance->fixedBeam[k] = scale(weight, instance->fixedBeam[k]);
  }
  for (int k = 0; k < kBins; ++k) instance->beamPower[k] = power(instance->fixedBeam[k]);
}

// Smooths the estimator's probability over time, then with its neighbours: the lower one is already
// this frame's, the upper one still the last frame's. The first and the last bin stay as they are.
void smooth_presence_gain(Instance* instance) {
  const float* const probability = instance->vadState->mcra->speechProb;
  const float alpha = instance->beamPowerSmoothing;
  float* const gain = instance->presenceGain;
  for (int k = 1; k < kLastBin; ++k) {
    const float t = (1.0f - alpha) * probability[k] + alpha * gain[k];
    const double neighbours = static_cast<double>(gain[k - 1]) + static_cast<double>(gain[k + 1]);
    gain[k] = static_cast<float>(0.5 * static_cast<double>(t) + 0.25 * neighbours);
  }
}

void gate_reference(Instance* instance) {
  const float threshold = static_cast<float>(static_cast<double>(instance->intensity) * 0.1);
  for (int k = 0; k < kBins; ++k) {
    const float gain = instance->presenceGain[k];
    const Complex beam = instance->fixedBeam[k];
    instance->refBeam[k] = gain >= threshold ? beam : scale(gain, beam);
  }
}

void block_and_cancel(Instance* instance) {
  for (int m = 0; m < rows(*instance); ++m) {
    for (int k = 0; k < kBins; ++k) {
      const Complex x = instance->savedSpectrum[m][k];
      const Complex w = instance->blockWeights[m][k];
      const Complex r = instance->refBeam[k];
      // The two parts are rounded in different orders.
      const Complex e = {(x.re + w.im * r.im) - w.re * r.re, x.im - (w.im * r.re + w.re * r.im)};
      instance->blockOutput[m][k] = e;
      instance->cancelSum[k] =
          add(instance->cancelSum[k], multiply(instance->cancelWeights[m][k], e));
      instance->blockPowerSum[k] = instance->blockPowerSum[k] + power(e);
    }
  }
}

void form_output_and_smooth_powers(Instance* instance) {
  const float alpha = instance->beamPowerSmoothing;
  const float beta = instance->blockPowerSmoothing;
  for (int k = 0; k < kBins; ++k) {
    instance->outBeam[k] = subtract(instance->fixedBeam[k], instance->cancelSum[k]);
    const float beam_power = power(instance->fixedBeam[k]);
    const float block_power = instance->blockPowerSum[k];
    if (instance->blockCounter == 1) {
      instance->beamPowerSmooth[k] = beam_power;
      instance->blockPowerSmooth[k] = block_power;
    } else {
      instance->blockPowerSmooth[k] =
          beta * instance->blockPowerSmooth[k] + (1.0f - beta) * block_power;
      instance->beamPowerSmooth[k] =
          alpha * instance->beamPowerSmooth[k] + (1.0f - alpha) * beam_power;
    }
  }
}

void normalise_steps(Instance* instance) {
  for (int k = 0; k < kBins; ++k) {
    const float beam = instance->beamPowerSmooth[k] + instance->blockRegularizer;
    const float block = instance->blockPowerSmooth[k] + instance->cancelRegularizer;
    if (k < kLastBin) {
      instance->blockStep[k] = instance->blockStepSize * refined_reciprocal(beam);
      instance->cancelStep[k] = instance->cancelStepSize * refined_reciprocal(block);
    } else {
      instance->blockStep[k] = instance->blockStepSize / beam;
      instance->cancelStep[k] = instance->cancelStepSize / block;
    }
  }
}

void adapt(Instance* instance) {
  for (int m = 0; m < rows(*instance); ++m) {
    for (int k = 0; k < kBins; ++k) {
      const Complex e = instance->blockOutput[m][k];
      const Complex block_change = multiply_conjugate(e, instance->refBeam[k]);
      instance->blockWeights[m][k] =
          add(instance->blockWeights[m][k], scale(instance->blockStep[k], block_change));
      const Complex cancel_change = multiply_conjugate(instance->outBeam[k], e);
      instance->cancelWeights[m][k] =
          add(instance->cancelWeights[m][k], scale(instance->cancelStep[k], cancel_change));
    }
  }
}

}  // namespace

void adaptive_frame(Instance* instance) {
  for (int k = 0; k < kBins; ++k) {
    instance->fixedBeam[k] = {0.0f, 0.0f};
    instance->cancelSum[k] = {0.0f, 0.0f};
    instance->blockPowerSum[k] = 0.0f;
  }
  reference::compute_steering(instance, instance->steerAngle);
  form_fixed_beam(instance);
  static_cast<void>(reference::vad_run(instance->vadState, instance->beamPower));
  if (instance->vadState != nullptr) smooth_presence_gain(instance);
  // Without a transform nothing adapts; the refusal of the synthesis remains.
  if (instance->fftState != nullptr) {
    gate_reference(instance);
    block_and_cancel(instance);
    form_output_and_smooth_powers(instance);
    normalise_steps(instance);
    adapt(instance);
  }
  synthesise(instance, instance->outBeam);
}

}  // namespace reference
