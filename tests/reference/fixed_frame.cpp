// SPDX-License-Identifier: MIT
//
// Delay and sum: each microphone's product is weighted before it is added, in microphone order.
#include "reference/arithmetic.h"
#include "reference/mics.h"
#include "reference/model.h"
#include "reference/synthesis.h"

namespace reference {

void fixed_frame(Instance* instance) {
  Complex beam[vekbf::kBinCount] = {};
  reference::compute_steering(instance, instance->steerAngle);

  const int mics = rows(*instance);
  const float weight = 1.0f / static_cast<float>(instance->micNum);
  for (int m = 0; m < mics; ++m) {
    for (int k = 0; k < vekbf::kBinCount; ++k) {
      const Complex x = instance->micSpectrum[m][k];
      instance->savedSpectrum[m][k] = x;
      const Complex aligned = multiply(instance->steerTable[m][k], x);
      beam[k] = add(beam[k], scale(weight, aligned));
    }
  }
  synthesise(instance, beam);
}

}  // namespace reference
