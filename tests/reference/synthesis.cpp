// SPDX-License-Identifier: MIT
#include "reference/synthesis.h"

#include <cstdint>

#include "reference/arithmetic.h"

namespace reference {

void synthesise(Instance* instance, const Complex* spectrum) {
  Complex bins[vekbf::kBinCount] = {};
  for (int k = 0; k < vekbf::kBinCount; ++k) bins[k] = spectrum[k];
  float samples[vekbf::kFrameSize] = {};
  reference::do_fft(instance->fftState, as_floats(bins), samples, kInverse);

  for (int n = 0; n < vekbf::kFrameSize; ++n) {
    const int32_t v = to_integer(0.5 * static_cast<double>(samples[n]));
    const int32_t sum = wrapped_sum(instance->outputOverlap[n], v);
    instance->outputOverlap[n] = static_cast<int16_t>(static_cast<uint16_t>(sum & 0xffff));
  }
}

}  // namespace reference
