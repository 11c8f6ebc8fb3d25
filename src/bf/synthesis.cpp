// SPDX-License-Identifier: MIT
#include "bf/synthesis.h"

#include "bf/add_halved.h"

namespace vekbf {

void synthesise(int16_t (&overlap)[kFrameSize], FftState* transform, const Spectrum& spectrum) {
  Frame frame;
  if (fft_synthesise(transform, as_floats(spectrum), frame)) add_halved(overlap, frame);
}

}  // namespace vekbf
