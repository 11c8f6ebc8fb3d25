// SPDX-License-Identifier: MIT
#include "bf/synthesis.h"

#include "base/chosen_kernels.h"

namespace vekbf {

void synthesise(int16_t (&overlap)[kFrameSize], FftState* transform, const Spectrum& spectrum) {
  Frame frame;
  if (fft_synthesise(transform, as_floats(spectrum), frame))
    beam_kernels().add_halved(overlap, frame);
}

}  // namespace vekbf
