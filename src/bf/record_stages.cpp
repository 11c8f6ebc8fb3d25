// SPDX-License-Identifier: MIT
#include "bf/record_stages.h"

#include <cstring>

#include "base/chosen_kernels.h"
#include "bf/presence_gain.h"
#include "bf/sidelobe_canceller.h"
#include "bf/synthesis.h"

namespace vekbf {

void form_fixed_beam(Instance& i) {
  // Without microphones the weight is infinite and the beam 0 times infinity, which is not a number
  // and converts to silence.
  const float weight = 1.0f / static_cast<float>(i.micNum);
  beam_kernels().form_fixed_beam(i.fixedBeam, i.beamPower, i.savedSpectrum, i.micSpectrum,
                                 i.steerTable, row_count(i), weight);
}

void delay_and_sum(Instance& i, Spectrum& beam) {
  const int rows = row_count(i);
  if (rows < 1) {
    std::memset(beam, 0, sizeof beam);
    return;
  }
  const float weight = 1.0f / static_cast<float>(i.micNum);
  beam_kernels().delay_and_sum(beam, i.savedSpectrum, i.micSpectrum, i.steerTable, rows, weight);
}

void smooth_presence_gain(Instance& i, const float* probability) {
  smooth_presence_gain(i.presenceGain, probability, i.beamPowerSmoothing);
}

void cancel_sidelobes(Instance& i) {
  const CancellerInput input = {.spectra = i.savedSpectrum,
                                .rows = row_count(i),
                                .beam = i.fixedBeam,
                                .beam_power = i.beamPower,
                                .presence_gain = i.presenceGain};
  const CancellerRules rules = {
      .threshold = static_cast<float>(static_cast<double>(i.intensity) * 0.1),
      .first = i.blockCounter == 1,
      .block = {i.beamPowerSmoothing, i.blockStepSize, i.blockRegularizer},
      .cancel = {i.blockPowerSmoothing, i.cancelStepSize, i.cancelRegularizer}};
  const CancellerState state = {.block_weights = i.blockWeights,
                                .cancel_weights = i.cancelWeights,
                                .beam_power_smooth = i.beamPowerSmooth,
                                .block_power_smooth = i.blockPowerSmooth};
  const CancellerOutput output = {.reference = i.refBeam,
                                  .blocked = i.blockOutput,
                                  .block_power = i.blockPowerSum,
                                  .cancelled = i.cancelSum,
                                  .block_step = i.blockStep,
                                  .cancel_step = i.cancelStep,
                                  .beam = i.outBeam};
  beam_kernels().cancel_sidelobes(input, rules, state, output);
}

void synthesise(Instance& i, const Spectrum& spectrum) {
  synthesise(i.outputOverlap, i.fftState, spectrum);
}

}  // namespace vekbf
